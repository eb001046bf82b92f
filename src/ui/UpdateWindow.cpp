#include "ui/UpdateWindow.h"

#include <algorithm>
#include <array>

#include <QBoxLayout>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QPushButton>

#include "ui/Button.h"
#include "ui/FocusRing.h"
#include "ui/ParagraphLabel.h"
#include "ui/ProgressBar.h"
#include "ui/TextBlock.h"
#include "ui/Theme.h"
#include "ui/UpdateView.h"

using Action = UpdateView::Action;
namespace metrics = theme::metrics;

namespace {

constexpr std::chrono::milliseconds armingTime{600};
constexpr theme::Length windowWidth(440);
constexpr theme::Length lineGap(4);
constexpr theme::Length partGap(16);
constexpr int progressSteps = 1000;
constexpr int fileLines = 4;
constexpr int errorLines = 8;
constexpr int notesLines = 9;

struct ButtonKind {
    Action action;
    const char* name;
};

// As they stand in the window when all of them are there; no two of a place ever are.
constexpr std::array<ButtonKind, 5> buttonKinds{{{Action::later, "updateLaterButton"},
                                                 {Action::download, "updateDownloadButton"},
                                                 {Action::cancel, "updateCancelButton"},
                                                 {Action::close, "updateCloseButton"},
                                                 {Action::showFile, "updateShowFileButton"}}};

} // namespace

class UpdateWindow::Window final : public QWidget {
    Q_DECLARE_TR_FUNCTIONS(UpdateWindow)

  public:
    explicit Window(Scheduler& scheduler);

    void draw(const UpdateView& view);

    Handlers handlers;
    bool isClosing = false; ///< by the session

  protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    void build();
    ParagraphLabel* label(const char* name, theme::Style style, const char* look);
    TextBlock* textBlock(const char* name, const QString& accessibleName, theme::Style style,
                         const char* look, int lines, int padding);
    void drawButtons(const UpdateView& view);
    void arm();
    void trigger(Action action);
    void later(std::function<void()> Handlers::*handler);
    bool pressedKey(const QKeyEvent& event);
    [[nodiscard]] QPushButton* button(Action action) const {
        return m_buttons[static_cast<std::size_t>(action)];
    }

    Scheduler& m_scheduler;
    std::unique_ptr<Scheduler::Timer> m_arming;
    UpdateView m_view;

    ParagraphLabel* m_heading = nullptr;
    ParagraphLabel* m_caption = nullptr;
    ParagraphLabel* m_message = nullptr;
    TextBlock* m_file = nullptr;
    TextBlock* m_error = nullptr;
    TextBlock* m_notes = nullptr;
    ProgressBar* m_progress = nullptr;
    ParagraphLabel* m_progressText = nullptr;
    std::array<QPushButton*, buttonKinds.size()> m_buttons{};
};

UpdateWindow::Window::Window(Scheduler& scheduler) : m_scheduler(scheduler) {
    setObjectName(QStringLiteral("updateWindow"));
    setWindowTitle(tr("軟體更新"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowCloseButtonHint);
    // It comes by itself, too, and then nobody's typing may end up in it.
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_StyledBackground);
    setProperty("look", QStringLiteral("window"));
    setFocusPolicy(Qt::ClickFocus);
    build();
    new FocusRing(this);
    theme::follow(*this);
}

ParagraphLabel* UpdateWindow::Window::label(const char* name, theme::Style style,
                                            const char* look) {
    auto* label = new ParagraphLabel(style, QLatin1String(look), this);
    label->setObjectName(QLatin1String(name));
    return label;
}

TextBlock* UpdateWindow::Window::textBlock(const char* name, const QString& accessibleName,
                                           theme::Style style, const char* look, int lines,
                                           int padding) {
    auto* block = new TextBlock(style, QLatin1String(look), lines, padding, this);
    block->setObjectName(QLatin1String(name));
    block->setAccessibleName(accessibleName);
    return block;
}

void UpdateWindow::Window::build() {
    using theme::Style;
    m_heading = label("updateHeading", Style::title2, "");
    m_caption = label("updateCaption", Style::caption, "secondary");
    m_message = label("updateMessage", Style::body, "");
    m_file = textBlock("updateFile", tr("下載的檔案"), Style::caption, "secondary", fileLines, 0);
    m_error = textBlock("updateError", tr("錯誤"), Style::body, "error", errorLines, 0);
    m_notes = textBlock("updateNotes", tr("更新內容"), Style::body, "notes", notesLines,
                        metrics::boxPadding);
    m_progress = new ProgressBar(this);
    m_progress->setObjectName(QStringLiteral("updateProgress"));
    m_progress->setAccessibleName(tr("下載進度"));
    m_progressText = label("updateProgressText", Style::caption, "secondary");

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(metrics::windowPadding, metrics::windowPadding,
                               metrics::windowPadding, metrics::windowPadding);
    column->setSpacing(partGap);
    column->setSizeConstraint(QLayout::SetFixedSize);
    // What belongs together. A group of which nothing shows leaves no gap.
    const auto add = [column](std::initializer_list<QWidget*> group, int gap) {
        auto* lines = new QVBoxLayout;
        lines->setSpacing(gap);
        for (QWidget* line : group)
            lines->addWidget(line);
        column->addLayout(lines);
    };
    add({m_heading, m_caption}, lineGap);
    add({m_message, m_file}, lineGap);
    add({m_error}, 0);
    add({m_notes}, 0);
    add({m_progress, m_progressText}, 2 * lineGap);
    column->addSpacing(partGap / 2);

    auto* row = new QHBoxLayout;
    row->setSpacing(metrics::buttonsApart);
    row->addStretch();
    for (const auto& [action, name] : buttonKinds) {
        QPushButton* button =
            button::make(UpdateView::labelOf(action), button::Look::standard, name, this);
        button->setMinimumWidth(metrics::confirmationButtonWidth);
        connect(button, &QPushButton::clicked, this, [this, action = action] { trigger(action); });
        m_buttons[static_cast<std::size_t>(action)] = button;
        row->addWidget(button);
    }
    column->addLayout(row);
    m_heading->setFixedWidth(windowWidth - 2 * metrics::windowPadding);
    for (QWidget* child : findChildren<QWidget*>())
        child->installEventFilter(this);
    installEventFilter(this);
}

void UpdateWindow::Window::draw(const UpdateView& view) {
    m_heading->setText(view.heading);
    const auto put = [](auto* part, const QString& text) {
        part->setText(text);
        part->setVisible(!text.isEmpty());
    };
    put(m_caption, view.caption);
    put(m_message, view.message);
    put(m_file, view.file);
    put(m_error, view.error);
    put(m_notes, view.notes);
    m_progress->setVisible(view.progress.has_value());
    put(m_progressText, view.progress ? view.progress->text : QString());
    const auto fraction = view.progress ? view.progress->fraction : std::nullopt;
    m_progress->setRange(0, fraction ? progressSteps : 0);
    m_progress->setValue(static_cast<int>(fraction.value_or(0) * progressSteps));
    drawButtons(view);
    m_view = view;
}

void UpdateWindow::Window::drawButtons(const UpdateView& view) {
    // What stands on a button that somebody is about to press must not change under the key.
    if (view.actions != m_view.actions)
        setFocus();
    for (const auto& [action, name] : buttonKinds) {
        QPushButton* const button = this->button(action);
        const bool isShown = std::ranges::find(view.actions, action) != view.actions.end();
        const bool isPrimary = view.primary == action;
        button::setLook(*button, isPrimary ? button::Look::prominent : button::Look::standard);
        if (action == Action::download && isShown &&
            (!isVisible() || button->isHidden() || m_view.heading != view.heading))
            arm();
        button->setVisible(isShown);
    }
}

void UpdateWindow::Window::arm() {
    button(Action::download)->setEnabled(false);
    m_arming =
        m_scheduler.after(armingTime, [this] { button(Action::download)->setEnabled(true); });
}

void UpdateWindow::Window::trigger(Action action) {
    switch (action) {
    case Action::download:
        arm(); // A second click is not meant.
        later(&Handlers::download);
        break;
    case Action::showFile:
        later(&Handlers::showFile);
        break;
    case Action::cancel:
    case Action::later:
    case Action::close:
        later(&Handlers::dismiss);
        break;
    }
}

// The handler may end the window, which is in the middle of an event of its own here.
void UpdateWindow::Window::later(std::function<void()> Handlers::*handler) {
    QMetaObject::invokeMethod(
        this,
        [this, handler] {
            const auto call = handlers.*handler;
            if (call && isVisible())
                call();
        },
        Qt::QueuedConnection);
}

void UpdateWindow::Window::closeEvent(QCloseEvent* event) {
    if (isClosing)
        return;
    event->ignore(); // The session closes it.
    later(&Handlers::dismiss);
}

void UpdateWindow::Window::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        later(&Handlers::attention);
}

bool UpdateWindow::Window::eventFilter(QObject* object, QEvent* event) {
    if (event->type() == QEvent::KeyPress && pressedKey(static_cast<const QKeyEvent&>(*event)))
        return true;
    return QWidget::eventFilter(object, event);
}

bool UpdateWindow::Window::pressedKey(const QKeyEvent& event) {
    const bool isReturn = event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
    if (event.key() == Qt::Key_Escape) {
        if (!event.isAutoRepeat())
            later(&Handlers::dismiss);
        return true;
    }
    if (!isReturn && event.key() != Qt::Key_Space && event.key() != Qt::Key_Select)
        return false;
    auto* focused = qobject_cast<QPushButton*>(focusWidget());
    if (!isReturn && !focused)
        return false;
    if (event.isAutoRepeat())
        return true;
    if (!isReturn)
        return false;
    if (!focused && m_view.primary)
        focused = button(*m_view.primary);
    if (focused)
        focused->click();
    return true;
}

UpdateWindow::UpdateWindow(Scheduler& scheduler) : m_window(std::make_unique<Window>(scheduler)) {}

UpdateWindow::~UpdateWindow() = default;

void UpdateWindow::setHandlers(Handlers handlers) {
    m_window->handlers = std::move(handlers);
}

void UpdateWindow::show(const UpdateState& state) {
    m_window->draw(UpdateView::of(state, QLocale()));
    m_window->show();
}

void UpdateWindow::activate() {
    m_window->raise();
    m_window->activateWindow();
}

void UpdateWindow::close() {
    m_window->isClosing = true;
    m_window->close();
    m_window->isClosing = false;
}
