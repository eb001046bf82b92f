#include "ui/MenuPanel.h"

#include <algorithm>

#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>

#include "ui/Button.h"
#include "ui/Parts.h"
#include "ui/Theme.h"

using namespace std::chrono_literals;
using namespace theme;

namespace {

// Hooks are answered in between: a row takes some milliseconds.
constexpr int rowsAtOnce = 4;

StatusMark::Color colorOf(MenuState::Mark mark) {
    switch (mark) {
    case MenuState::Mark::green:
        return StatusMark::Color::green;
    case MenuState::Mark::orange:
        return StatusMark::Color::orange;
    case MenuState::Mark::gray:
        break;
    }
    return StatusMark::Color::gray;
}

} // namespace

MenuPanel::MenuPanel(Scheduler& scheduler, QWidget* parent)
    : QWidget(parent), m_scheduler(scheduler), m_parts(new QVBoxLayout) {
    parts::column(this, metrics::commandParts)->addLayout(m_parts);
    setObjectName(QStringLiteral("panel"));
    setFocusPolicy(Qt::StrongFocus);
    setFixedWidth(metrics::panelWidth);
    m_parts->setContentsMargins(metrics::panelPadding, metrics::panelPadding, metrics::panelPadding,
                                0);
    m_parts->setSpacing(metrics::panelParts);
    addHeader();
    m_parts->addWidget(parts::divider(this));
    m_failure = addNotice("failure", "warning");
    m_warning = addNotice("warning", "");
    m_warning.title->setSelectable(false); // Ours, and always the same.
    connect(m_failure.button, &QPushButton::clicked, this, [this] {
        if (m_state && m_state->failure && m_state->failure->isTakeover)
            Q_EMIT takeOverClicked();
        else
            Q_EMIT retryClicked();
    });
    connect(m_warning.button, &QPushButton::clicked, this, [this] {
        if (m_state && m_state->warning &&
            m_state->warning->kind == MenuState::Warning::Kind::codexTrust)
            Q_EMIT recheckClicked();
        else
            Q_EMIT installClicked();
    });
    m_error = parts::errorLine(this);
    m_parts->addWidget(m_error);
    addMode();
    m_pendingDivider = parts::divider(this);
    m_parts->addWidget(m_pendingDivider);
    m_pending = new QVBoxLayout;
    m_pending->setSpacing(metrics::panelParts);
    m_parts->addLayout(m_pending);
    m_sessionsDivider = parts::divider(this);
    m_parts->addWidget(m_sessionsDivider);
    m_sessions = new SessionList(this);
    m_parts->addWidget(m_sessions);
    m_parts->addWidget(parts::divider(this));
    addCommands();
}

void MenuPanel::addHeader() {
    auto* header = new QHBoxLayout;
    constexpr Length markFromEdge(3);
    header->setContentsMargins(0, 0, markFromEdge, 0);
    auto* words = new QVBoxLayout;
    words->setSpacing(0);
    words->addWidget(parts::label(QStringLiteral("Tamsell"), Style::headline, "", this));
    m_status = parts::label({}, Style::caption, "secondary", this);
    m_status->setObjectName(QStringLiteral("status"));
    words->addWidget(m_status);
    header->addLayout(words);
    header->addStretch(1);
    m_mark = new StatusMark(metrics::markSize, this);
    header->addWidget(m_mark);
    m_parts->addLayout(header);
}

MenuPanel::Notice MenuPanel::addNotice(const char* name, const char* titleLook) {
    Notice notice;
    notice.widget = new QWidget(this);
    notice.widget->setObjectName(QLatin1String(name));
    auto* column = parts::column(notice.widget, metrics::warningParts);
    auto* title = new QHBoxLayout;
    title->setSpacing(metrics::iconToLabel);
    notice.icon = new IconLabel(Icon::warning, IconLabel::Tone::warning, notice.widget);
    title->addWidget(notice.icon, 0, Qt::AlignTop);
    notice.title = parts::noticeTitle(QLatin1String(titleLook), notice.widget);
    title->addWidget(notice.title, 1);
    column->addLayout(title);
    notice.text = new ParagraphLabel(Style::caption, QStringLiteral("secondary"), notice.widget);
    column->addWidget(notice.text);
    notice.button = button::make({}, button::Look::standard, "", notice.widget);
    notice.button->setObjectName(QLatin1String(name) + QStringLiteral("Button"));
    column->addWidget(notice.button);
    m_parts->addWidget(notice.widget);
    return notice;
}

void MenuPanel::addMode() {
    auto* block = new QWidget(this);
    auto* column = parts::column(block, metrics::modeParts);
    auto* row = new QHBoxLayout;
    const QString name = MenuState::tr("轉發到手機");
    row->addWidget(parts::label(name, Style::body, "", block));
    row->addStretch(1);
    QStringList labels;
    for (const AwayMode mode : allAwayModes)
        labels << QString::fromStdString(label(mode));
    m_modes = new SegmentedControl(name, labels, block);
    m_modes->setObjectName(QStringLiteral("modes"));
    connect(m_modes, &SegmentedControl::chosen, this, [this](int index) {
        Q_EMIT modeChosen(allAwayModes.at(static_cast<std::size_t>(index)));
    });
    row->addWidget(m_modes);
    column->addLayout(row);
    m_modeDescription = new ParagraphLabel(Style::caption, QStringLiteral("secondary"), block);
    m_modeDescription->setObjectName(QStringLiteral("modeDescription"));
    column->addWidget(m_modeDescription);
    m_parts->addWidget(block);
}

void MenuPanel::addCommands() {
    using button::Look;
    auto* block = new QWidget(this);
    auto* column = parts::column(block, metrics::commandParts);
    m_pair = button::make({}, Look::standard, "pair", block);
    connect(m_pair, &QPushButton::clicked, this, &MenuPanel::pairClicked);
    column->addWidget(m_pair);
    m_update = button::make({}, Look::tinted, "update", block);
    connect(m_update, &QPushButton::clicked, this, &MenuPanel::updateClicked);
    column->addWidget(m_update);

    auto* login = new QHBoxLayout;
    auto* words = parts::label(MenuState::tr("登入時自動啟動"), Style::body, "", block);
    login->addWidget(words);
    login->addStretch(1);
    m_launchAtLogin = new Switch(block);
    m_launchAtLogin->setObjectName(QStringLiteral("launchAtLogin"));
    m_launchAtLogin->setAccessibleName(words->text());
    connect(m_launchAtLogin, &Switch::clicked, this, &MenuPanel::launchAtLoginChosen);
    login->addWidget(m_launchAtLogin);
    column->addLayout(login);
    m_parts->addWidget(block);

    // Plain buttons lie a little outside, so that their words align with the column.
    auto* row = new QHBoxLayout;
    const int side = metrics::panelPadding - metrics::plainButtonPadding;
    row->setContentsMargins(side, 0, side, metrics::panelPadding);
    row->setSpacing(0);
    QPushButton* guide = button::make(MenuState::tr("設定指南…"), Look::plain, "guide", this);
    connect(guide, &QPushButton::clicked, this, &MenuPanel::guideClicked);
    row->addWidget(guide);
    m_checkForUpdates =
        button::make(MenuState::tr("檢查更新…"), Look::plain, "checkForUpdates", this);
    connect(m_checkForUpdates, &QPushButton::clicked, this, &MenuPanel::updateClicked);
    row->addWidget(m_checkForUpdates);
    m_removeHooks = button::make(MenuState::tr("移除 hooks"), Look::plain, "removeHooks", this);
    connect(m_removeHooks, &QPushButton::clicked, this, &MenuPanel::removeHooksClicked);
    row->addWidget(m_removeHooks);
    row->addStretch(1);
    QPushButton* quit = button::make(MenuState::tr("結束"), Look::plain, "quit", this);
    connect(quit, &QPushButton::clicked, this, &MenuPanel::quitClicked);
    row->addWidget(quit);
    static_cast<QVBoxLayout*>(layout())->addLayout(row);
}

void MenuPanel::show(const MenuState& state) {
    // A choice that was refused goes back, though nothing has changed.
    m_modes->setChoice(
        static_cast<int>(std::ranges::find(allAwayModes, state.mode) - allAwayModes.begin()));
    m_launchAtLogin->setShown(state.launchAtLogin);
    if (m_state == state)
        return;
    m_state = state;
    m_status->setText(state.status);
    m_mark->set(colorOf(state.mark), state.status);
    showNotices(state);
    m_modeDescription->setText(state.modeDescription);
    showPending();
    m_sessions->show(state.sessions);
    m_sessions->setVisible(!state.sessions.empty());
    m_sessionsDivider->setVisible(!state.sessions.empty());
    showCommands(state);
}

void MenuPanel::showNotices(const MenuState& state) {
    // One filled button at most: what waits comes before what is to be mended.
    const auto look = state.pending.empty() ? button::Look::prominent : button::Look::standard;
    m_failure.widget->setVisible(state.failure.has_value());
    if (state.failure) {
        m_failure.title->setText(state.failure->message);
        m_failure.text->setText(state.failure->explanation);
        m_failure.text->setVisible(!state.failure->explanation.isEmpty());
        m_failure.button->setText(state.failure->button);
        button::setLook(*m_failure.button, look);
    }
    m_warning.widget->setVisible(state.warning.has_value());
    if (state.warning) {
        const bool isTrust = state.warning->kind == MenuState::Warning::Kind::codexTrust;
        m_warning.icon->setIcon(isTrust ? Icon::lock : Icon::hooks);
        m_warning.title->setText(state.warning->title);
        m_warning.text->setText(state.warning->text);
        m_warning.button->setText(state.warning->button);
        m_warning.widget->layout()->setSpacing(isTrust ? metrics::trustWarningParts
                                                       : metrics::warningParts);
        button::setLook(*m_warning.button,
                        isTrust || state.failure ? button::Look::standard : look);
    }
    m_error->setText(state.error.value_or(QString()));
    m_error->setVisible(state.error.has_value());
}

void MenuPanel::showPending() {
    std::vector<PendingRow*> rows;
    int made = 0;
    for (const PendingRowState& item : m_state->pending) {
        const auto kept = std::ranges::find_if(
            m_rows, [&](const PendingRow* row) { return row && row->item() == item; });
        if (kept != m_rows.end()) {
            rows.push_back(std::exchange(*kept, nullptr));
            continue;
        }
        if (made == rowsAtOnce)
            continue;
        ++made;
        auto* row = new PendingRow(item, m_scheduler, this);
        connect(row, &PendingRow::answered, this, &MenuPanel::answered);
        rows.push_back(row);
    }
    for (PendingRow* gone : m_rows) {
        if (!gone)
            continue;
        // Qt would hand the focus to the next button, which may be another item's.
        if (gone->isAncestorOf(focusWidget() ? focusWidget() : this))
            setFocus();
        m_pending->removeWidget(gone);
        gone->hide();
        gone->deleteLater(); // Its own click may have led here.
    }
    m_rows = std::move(rows);
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
        const int place = static_cast<int>(i);
        const auto* const here = m_pending->itemAt(place);
        if (!here || here->widget() != m_rows[i]) {
            m_pending->removeWidget(m_rows[i]);
            m_pending->insertWidget(place, m_rows[i]);
            parts::tabAfter(i == 0 ? static_cast<QWidget*>(m_modes) : m_rows[i - 1], m_rows[i]);
        }
        m_rows[i]->setIsReturnTarget(m_rows[i] == returnTarget());
    }
    m_pendingDivider->setVisible(!m_rows.empty());
    m_more = m_rows.size() < m_state->pending.size()
                 ? m_scheduler.after(0ms, [this] { showPending(); })
                 : nullptr;
}

void MenuPanel::showCommands(const MenuState& state) {
    m_pair->setText(state.pairButton);
    m_update->setText(
        state.updateButton.value_or(QString()).replace(QLatin1Char('&'), QLatin1String("&&")));
    m_update->setVisible(state.updateButton.has_value());
    m_checkForUpdates->setVisible(state.showsUpdateCheck);
    m_checkForUpdates->setEnabled(state.enablesUpdateCheck);
    m_removeHooks->setVisible(state.offersHookRemoval);
}

PendingRow* MenuPanel::returnTarget() const {
    const auto oldest = std::ranges::find_if(
        m_rows, [](const PendingRow* row) { return row->item().isPermission; });
    return oldest == m_rows.end() ? nullptr : *oldest;
}

void MenuPanel::disarm() {
    for (PendingRow* row : m_rows)
        row->disarm();
}

// A text field takes its own Return. On a button that has the focus it means that button, to
// whoever sees the ring, and so nothing but 允許 itself may allow.
void MenuPanel::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    PendingRow* const target = returnTarget();
    const auto* field = qobject_cast<const QLineEdit*>(focusWidget());
    const auto* button = qobject_cast<const QAbstractButton*>(focusWidget());
    if (isReturn && isPlain && !event->isAutoRepeat() && target && !field &&
        (!button || target->isAllow(*button)))
        target->allow();
    else
        QWidget::keyPressEvent(event);
}
