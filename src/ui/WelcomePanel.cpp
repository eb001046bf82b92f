#include "ui/WelcomePanel.h"

#include <algorithm>

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QUrl>

#include "ui/Button.h"
#include "ui/Parts.h"
#include "ui/Theme.h"

using namespace theme;
using button::Look;
using Step = WelcomeState::Step;

namespace {

constexpr Length headingGap(4);
constexpr Length belowHeading(16);
constexpr Length belowProblem(12);
constexpr Length aroundDivider(12);
constexpr Length badgeToText(12);
constexpr Length insideStep(8);
constexpr Length insideProblem(6);
constexpr Length insideHint(4);
constexpr Length aboveError(8);
constexpr Length aboveFooter(16);
constexpr Length codeSize(160);
constexpr Length codePlaceSize(176);
constexpr Length codeToWords(20);
constexpr Length waitingGap(6);
constexpr Length linkInset(14);
constexpr Length linkGap(2);
constexpr Length resultGap(10);

ParagraphLabel* caption(const QString& text, QWidget* parent) {
    auto* label = new ParagraphLabel(Style::caption, QStringLiteral("secondary"), parent);
    label->setText(text);
    return label;
}

QWidget* columnIn(QBoxLayout* outside, int spacing, QWidget* parent) {
    auto* widget = new QWidget(parent);
    parts::column(widget, spacing);
    outside->addWidget(widget);
    return widget;
}

} // namespace

WelcomePanel::WelcomePanel(QWidget* parent)
    : QWidget(parent), m_parts(parts::column(this, 0)), m_steps(new QVBoxLayout) {
    setObjectName(QStringLiteral("welcome"));
    setFocusPolicy(Qt::StrongFocus);
    setFixedWidth(metrics::guideWidth);
    const int padding = metrics::windowPadding;
    m_parts->setContentsMargins(padding, padding, padding, padding);
    m_parts->addWidget(parts::label(tr("歡迎使用 Tamsell"), Style::title, "", this));
    m_parts->addSpacing(headingGap);
    auto* words = new ParagraphLabel(Style::body, QStringLiteral("secondary"), this);
    words->setText(
        tr("Claude Code 或 Codex 要權限、或做完一輪在等你的時候，Tamsell 把它送到 iPhone "
           "和 Apple Watch，讓你不在電腦前也能允許、拒絕或交代下一步。"));
    m_parts->addWidget(words);
    m_parts->addSpacing(belowHeading);
    addProblem();
    m_steps->setSpacing(aroundDivider);
    m_parts->addLayout(m_steps);
    for (const Step step : {Step::hooks, Step::codex, Step::pair, Step::test, Step::login})
        addBlock(step);
    QWidget* place = columnIn(m_parts, 0, this);
    static_cast<QVBoxLayout*>(place->layout())->addSpacing(aboveError);
    m_error = parts::errorLine(place);
    place->layout()->addWidget(m_error);
    m_parts->addSpacing(aboveFooter);
    addFooter();
}

void WelcomePanel::addProblem() {
    // The box and what is below it go together.
    QWidget* place = columnIn(m_parts, 0, this);
    auto* box = new QFrame(place);
    m_problem.box = box;
    box->setObjectName(QStringLiteral("problem"));
    box->setProperty("look", QStringLiteral("problem"));
    auto* column = parts::column(box, insideProblem);
    const int padding = metrics::boxPadding;
    column->setContentsMargins(padding, padding, padding, padding);
    auto* title = new QHBoxLayout;
    title->setSpacing(metrics::iconToLabel);
    m_problem.warning = new IconLabel(Icon::warning, IconLabel::Tone::warning, box);
    title->addWidget(m_problem.warning, 0, Qt::AlignTop);
    m_problem.question = new IconLabel(Icon::question, IconLabel::Tone::text, box);
    title->addWidget(m_problem.question, 0, Qt::AlignTop);
    m_problem.title = parts::noticeTitle({}, box);
    title->addWidget(m_problem.title, 1);
    column->addLayout(title);
    m_problem.text = caption({}, box);
    column->addWidget(m_problem.text);
    m_problem.button = button::make({}, Look::standard, "mend", box);
    connect(m_problem.button, &QPushButton::clicked, this, [this] {
        const bool takesOver = m_state && m_state->problem &&
                               m_state->problem->action == WelcomeState::Problem::Action::takeOver;
        if (takesOver)
            Q_EMIT takeOverClicked();
        else
            Q_EMIT retryClicked();
    });
    column->addWidget(m_problem.button);
    place->layout()->addWidget(box);
    static_cast<QVBoxLayout*>(place->layout())->addSpacing(belowProblem);
}

void WelcomePanel::addBlock(Step step) {
    Block block{};
    block.step = step;
    if (!m_blocks.empty()) {
        auto* inset = new QHBoxLayout;
        inset->setContentsMargins(metrics::badgeSize + badgeToText, 0, 0, 0);
        block.divider = parts::divider(this);
        inset->addWidget(block.divider);
        m_steps->addLayout(inset);
    }
    block.widget = new QWidget(this);
    auto* row = new QHBoxLayout(block.widget);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(badgeToText);
    block.badge = new StepBadge(block.widget);
    row->addWidget(block.badge, 0, Qt::AlignTop);
    auto* column = new QVBoxLayout;
    column->setSpacing(insideStep);
    auto* title = new QHBoxLayout;
    title->setSpacing(insideStep);
    block.title = parts::label({}, Style::headline, "", block.widget);
    block.title->setMinimumHeight(metrics::badgeSize);
    title->addWidget(block.title);
    block.optional = parts::label(tr("選用"), Style::caption, "secondary", block.widget);
    title->addWidget(block.optional);
    title->addStretch(1);
    column->addLayout(title);
    block.content = columnIn(column, insideStep, block.widget);
    row->addLayout(column, 1);
    m_steps->addWidget(block.widget);

    auto* inside = static_cast<QVBoxLayout*>(block.content->layout());
    switch (step) {
    case Step::hooks:
        addHooks(inside, block.content);
        break;
    case Step::codex:
        addCodex(inside, block.content);
        break;
    case Step::pair:
        addPair(inside, block.content);
        break;
    case Step::test:
        addTest(inside, block.content);
        break;
    case Step::login:
        addLogin(inside, block.content);
        break;
    }
    m_blocks.push_back(block);
}

void WelcomePanel::addHooks(QVBoxLayout* column, QWidget* content) {
    m_hooksText = caption({}, content);
    column->addWidget(m_hooksText);
    m_install = button::make({}, Look::prominent, "install", content);
    connect(m_install, &QPushButton::clicked, this, &WelcomePanel::installClicked);
    column->addWidget(m_install);
    m_hooksNote = caption({}, content);
    column->addWidget(m_hooksNote);
}

void WelcomePanel::addCodex(QVBoxLayout* column, QWidget* content) {
    m_codexText = caption({}, content);
    column->addWidget(m_codexText);
    auto* row = new QHBoxLayout;
    row->setSpacing(resultGap);
    m_recheck = button::make({}, Look::tinted, "recheck", content);
    connect(m_recheck, &QPushButton::clicked, this, &WelcomePanel::recheckClicked);
    row->addWidget(m_recheck);
    m_codexResult = parts::label({}, Style::caption, "secondary", content);
    m_codexResult->setObjectName(QStringLiteral("codexResult"));
    row->addWidget(m_codexResult);
    row->addStretch(1);
    column->addLayout(row);
    QPushButton* skip = button::make(tr("不用 Codex，跳過"), Look::link, "skip", content);
    skip->setFont(theme::font(Style::caption));
    connect(skip, &QPushButton::clicked, this, &WelcomePanel::skipClicked);
    column->addWidget(skip);
}

void WelcomePanel::addPair(QVBoxLayout* column, QWidget* content) {
    m_pairing = columnIn(column, 0, content);
    auto* row = new QHBoxLayout;
    row->setSpacing(codeToWords);
    auto* place = new QWidget(m_pairing);
    place->setFixedSize(codePlaceSize, codePlaceSize);
    QVBoxLayout* code = parts::column(place, 0);
    m_codeSpinner = new Spinner(Spinner::Size::large, place);
    code->addWidget(m_codeSpinner, 0, Qt::AlignCenter);
    m_code = new PairingQR(codeSize, place);
    m_code->setObjectName(QStringLiteral("code"));
    code->addWidget(m_code);
    row->addWidget(place, 0, Qt::AlignTop);
    auto* words = new QVBoxLayout;
    words->setSpacing(insideStep);
    addPairingWords(words, m_pairing);
    row->addLayout(words, 1);
    static_cast<QVBoxLayout*>(m_pairing->layout())->addLayout(row);

    m_pairSetUp = columnIn(column, insideStep, content);
    m_pairSetUp->layout()->addWidget(
        caption(tr("手機和這台 Mac 經過中繼連線，內容端對端加密。"), m_pairSetUp));
    m_setUp = button::make(tr("產生配對 QR code"), Look::prominent, "setUp", m_pairSetUp);
    connect(m_setUp, &QPushButton::clicked, this, &WelcomePanel::setUpClicked);
    m_pairSetUp->layout()->addWidget(m_setUp);
}

void WelcomePanel::addPairingWords(QVBoxLayout* column, QWidget* parent) {
    auto* install = new QVBoxLayout;
    install->setSpacing(linkGap);
    install->addWidget(caption(tr("1. 在 iPhone 上安裝 Tamsell App。"), parent));
    const QUrl site(QStringLiteral(TAMSELL_WEB_SITE));
    QPushButton* link = button::make(site.host(), Look::link, "webSite", parent);
    link->setFont(theme::font(Style::caption));
    link->setToolTip(site.toDisplayString());
    link->setCursor(Qt::PointingHandCursor);
    connect(link, &QPushButton::clicked, this, [site] { QDesktopServices::openUrl(site); });
    auto* inset = new QHBoxLayout;
    inset->setContentsMargins(linkInset, 0, 0, 0);
    inset->addWidget(link, 0, Qt::AlignLeft);
    install->addLayout(inset);
    column->addLayout(install);
    column->addWidget(caption(tr("2. 打開 App，用相機掃這個 QR code。"), parent));
    column->addWidget(caption(tr("這個 QR code 只能配對一支手機，10 "
                                 "分鐘內有效。內容全程端對端加密，中繼伺服器看不到。"),
                              parent));
    auto* waiting = new QHBoxLayout;
    waiting->setSpacing(waitingGap);
    waiting->addWidget(new Spinner(Spinner::Size::small, parent));
    m_pairWaiting = parts::label({}, Style::caption, "secondary", parent);
    m_pairWaiting->setObjectName(QStringLiteral("pairWaiting"));
    waiting->addWidget(m_pairWaiting, 1);
    column->addLayout(waiting);
    column->addStretch(1);
}

void WelcomePanel::addTest(QVBoxLayout* column, QWidget* content) {
    column->addWidget(
        caption(tr("鎖上 iPhone，按下面的按鈕。幾秒內應該會收到一則通知。"), content));
    auto* row = new QHBoxLayout;
    row->setSpacing(resultGap);
    m_test = button::make(tr("傳送測試推播"), Look::standard, "test", content);
    connect(m_test, &QPushButton::clicked, this, &WelcomePanel::testClicked);
    row->addWidget(m_test, 0, Qt::AlignTop);
    m_testResult = caption({}, content);
    m_testResult->setObjectName(QStringLiteral("testResult"));
    row->addWidget(m_testResult, 1, Qt::AlignVCenter);
    column->addLayout(row);
}

void WelcomePanel::addLogin(QVBoxLayout* column, QWidget* content) {
    auto* row = new QHBoxLayout;
    auto* words = parts::label(tr("登入 Mac 時自動打開 Tamsell"), Style::body, "", content);
    row->addWidget(words);
    row->addStretch(1);
    m_launchAtLogin = new Switch(content);
    m_launchAtLogin->setObjectName(QStringLiteral("launchAtLogin"));
    m_launchAtLogin->setAccessibleName(words->text());
    connect(m_launchAtLogin, &Switch::clicked, this, &WelcomePanel::launchAtLoginChosen);
    row->addWidget(m_launchAtLogin);
    column->addLayout(row);
    column->addWidget(caption(
        tr("Tamsell 沒在執行時，hooks 什麼都不做，Claude Code 和 Codex 照常在 Mac 上問你。"),
        content));
    m_idleText = caption({}, content);
    column->addWidget(m_idleText);
}

void WelcomePanel::addFooter() {
    auto* row = new QHBoxLayout;
    row->setSpacing(metrics::buttonsApart);
    row->addWidget(parts::label(tr("之後可以從選單列的 Tamsell 圖示重新打開這份指南。"),
                                Style::caption, "secondary", this));
    row->addStretch(1);
    m_finish = button::make({}, Look::standard, "finish", this);
    m_finish->setMinimumWidth(metrics::confirmationButtonWidth);
    connect(m_finish, &QPushButton::clicked, this, &WelcomePanel::finishClicked);
    row->addWidget(m_finish);
    m_parts->addLayout(row);
}

void WelcomePanel::show(const WelcomeState& state) {
    // A choice that was refused goes back, though nothing has changed.
    m_launchAtLogin->setShown(state.login.isOn);
    if (m_state == state)
        return;
    m_state = state;
    QWidget* const focused = focusWidget();
    showProblem(state);
    for (const Block& block : m_blocks)
        showBlock(block, state);
    m_hooksText->setText(state.hooks.text);
    m_install->setText(state.hooks.button);
    m_install->setEnabled(state.hooks.enablesButton);
    m_hooksNote->setText(state.hooks.note);
    m_codexText->setText(state.codex.text);
    m_recheck->setText(state.codex.button);
    m_recheck->setEnabled(state.codex.enablesButton);
    m_codexResult->setText(state.codex.result);
    showPair(state.pair);
    m_test->setEnabled(state.test.enablesButton);
    m_testResult->setText(state.test.result);
    setLook(*m_testResult, QLatin1String(state.test.succeeded ? "good" : "secondary"));
    m_idleText->setText(state.login.idleText);
    m_error->setText(state.error.value_or(QString()));
    m_error->parentWidget()->setVisible(state.error.has_value());
    showFinishButton(state);
    // Qt hands the focus of what goes to the next control, and the next key would press that.
    if (focused && focusWidget() != focused)
        setFocus();
}

void WelcomePanel::showProblem(const WelcomeState& state) {
    m_problem.box->parentWidget()->setVisible(state.problem.has_value());
    if (!state.problem)
        return;
    const bool isHint = state.problem->action == WelcomeState::Problem::Action::none;
    m_problem.warning->setVisible(!isHint);
    m_problem.question->setVisible(isHint);
    m_problem.title->setText(state.problem->title);
    setLook(*m_problem.title, QLatin1String(isHint ? "" : "warning"));
    m_problem.title->setSelectable(!isHint);
    m_problem.text->setText(state.problem->text);
    m_problem.button->setText(state.problem->button);
    m_problem.button->setVisible(!isHint);
    m_problem.box->layout()->setSpacing(isHint ? insideHint : insideProblem);
}

void WelcomePanel::showBlock(const Block& block, const WelcomeState& state) {
    const auto shown = std::ranges::find(state.blocks, block.step, &WelcomeState::Block::step);
    const bool isVisible = shown != state.blocks.end();
    block.widget->setVisible(isVisible);
    if (block.divider)
        block.divider->setVisible(isVisible);
    if (!isVisible)
        return;
    block.badge->set(shown->isDone      ? StepBadge::Look::done
                     : shown->isCurrent ? StepBadge::Look::current
                                        : StepBadge::Look::later,
                     shown->number);
    block.title->setText(shown->title);
    setLook(*block.title, QLatin1String(shown->isDone || shown->isCurrent ? "" : "secondary"));
    block.optional->setVisible(shown->isOptional);
    block.content->setVisible(shown->isOpen);
}

void WelcomePanel::showPair(const WelcomeState::PairStep& state) {
    m_pairing->setVisible(state.isSetUp);
    m_pairSetUp->setVisible(!state.isSetUp);
    m_setUp->setEnabled(state.enablesSetUp);
    m_pairWaiting->setText(state.waiting);
    m_codeSpinner->setVisible(!state.link);
    m_code->setVisible(state.link.has_value());
    m_code->setLink(state.link.value_or(QString()));
}

void WelcomePanel::showFinishButton(const WelcomeState& state) {
    m_finish->setText(state.finishButton);
    button::setLook(*m_finish, state.isComplete ? Look::prominent : Look::standard);
}

// A button that has the focus has no Return of its own.
void WelcomePanel::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    const bool isMeant =
        m_state && (m_state->isComplete ? isReturn : event->key() == Qt::Key_Escape);
    if (isMeant && isPlain && !event->isAutoRepeat())
        Q_EMIT finishClicked();
    else
        QWidget::keyPressEvent(event);
}
