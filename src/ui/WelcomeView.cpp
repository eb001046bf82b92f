#include "ui/WelcomeView.h"

#include <algorithm>
#include <exception>
#include <tuple>

#include <QCoreApplication>
#include <QScreen>
#include <QScrollArea>
#include <QUrl>

#include "hooks/Takeover.h"
#include "ui/FocusRing.h"
#include "ui/MenuState.h"
#include "ui/Parts.h"
#include "ui/Theme.h"

using namespace theme;

namespace {

constexpr std::chrono::seconds tickInterval{1};
// Codex starts its whole runtime to answer.
constexpr std::chrono::seconds codexPatience{8};
// A window manager's frame.
constexpr int titleBar = 48;

} // namespace

WelcomeView::WelcomeView(Environment environment, QWidget* parent)
    : QWidget(parent),
      m_environment(std::move(environment)),
      m_scrolling(new QScrollArea(this)),
      m_panel(new WelcomePanel) {
    setObjectName(QStringLiteral("welcomeWindow"));
    setWindowTitle(tr("歡迎使用 Tamsell"));
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
    setProperty("look", QStringLiteral("window"));
    setAttribute(Qt::WA_StyledBackground);
    // It scrolls only on a screen that is lower than the guide.
    m_scrolling->setWidget(m_panel);
    m_scrolling->setFrameShape(QFrame::NoFrame);
    m_scrolling->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scrolling->setFocusPolicy(Qt::NoFocus);
    m_scrolling->viewport()->setAutoFillBackground(false);
    m_panel->setAutoFillBackground(false);
    parts::column(this, 0)->addWidget(m_scrolling);
    setFocusProxy(m_panel);
    auto* ring = new FocusRing(this);
    ring->hide(); // Until something has the focus.
    theme::apply(*this);
    connectPanel();
    connect(&m_environment.daemon, &Daemon::changed, this, &WelcomeView::draw);
}

void WelcomeView::connectPanel() {
    connect(m_panel, &WelcomePanel::takeOverClicked, this, &WelcomeView::takeOverLegacy);
    connect(m_panel, &WelcomePanel::retryClicked, &m_environment.daemon, &Daemon::startServer);
    connect(m_panel, &WelcomePanel::installClicked, this, [this] {
        attempt([this] { m_environment.hooks.install(); });
        refresh();
    });
    connect(m_panel, &WelcomePanel::recheckClicked, this, &WelcomeView::checkCodex);
    connect(m_panel, &WelcomePanel::skipClicked, this, &WelcomeView::skipCodex);
    connect(m_panel, &WelcomePanel::setUpClicked, this, &WelcomeView::setUpRelay);
    connect(m_panel, &WelcomePanel::testClicked, this, &WelcomeView::sendTestPush);
    connect(m_panel, &WelcomePanel::launchAtLoginChosen, this, &WelcomeView::setLaunchAtLogin);
    connect(m_panel, &WelcomePanel::finishClicked, this, &WelcomeView::finish);
}

void WelcomeView::open() {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

bool WelcomeView::isPlaceholder(const std::string& relayURL) {
    const QString host = QUrl(QString::fromStdString(relayURL)).host();
    return (QLatin1Char('.') + host).endsWith(QLatin1String(".example"), Qt::CaseInsensitive);
}

bool WelcomeView::event(QEvent* event) {
    // The desktop's colours have changed; what a style sheet does to the palette is none of it.
    if (event->type() == QEvent::ApplicationPaletteChange)
        theme::apply(*this);
    return QWidget::event(event);
}

void WelcomeView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_ticking = m_environment.scheduler.every(tickInterval, [this] { tick(); });
    m_panel->setFocus();
    refresh();
    if (!std::exchange(m_wasOpened, true)) {
        QRect frame = rect();
        frame.moveCenter(screen()->availableGeometry().center());
        move(frame.topLeft());
    }
}

void WelcomeView::hideEvent(QHideEvent* event) {
    m_ticking.reset();
    QWidget::hideEvent(event);
}

// What is drawn.

WelcomeFacts WelcomeView::facts() const {
    Daemon& daemon = m_environment.daemon;
    WelcomeFacts facts;
    facts.hasClaude = m_environment.hasClaude;
    facts.hasCodex = m_environment.hasCodex;
    facts.hooks = m_hooks.value_or(Hooks::Status());
    facts.codexTrust = m_codexTrust;
    facts.hasLegacyDaemon = m_environment.legacy.legacyAgentInstalled();
    facts.server = daemon.serverState();
    if (const auto relay = daemon.config().relay())
        facts.pairedPhones = relay->devices.size();
    facts.invite = daemon.invite();
    facts.isConnected = daemon.relay().connected();
    facts.idleMinutes = daemon.config().number("idleMinutes");
    facts.isCheckingCodex = m_codexCheck != nullptr;
    facts.launchAtLogin = m_launchAtLogin;
    facts.testResult = m_testResult;
    facts.testSucceeded = m_testSucceeded;
    facts.error = m_error;
    facts.now = std::chrono::system_clock::now();
    return facts;
}

void WelcomeView::draw() {
    if (!isVisible())
        return; // It is drawn when it is shown.
    m_panel->show(WelcomeState::of(facts()));
    fit();
}

void WelcomeView::fit() {
    // What appears or goes deep inside makes itself felt at the top only after these.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    const int height = m_panel->layout()->totalHeightForWidth(metrics::guideWidth);
    m_panel->resize(metrics::guideWidth, height);
    const int room = screen()->availableGeometry().height() - titleBar;
    setFixedSize(metrics::guideWidth, std::min(height, room));
}

// What is done.

void WelcomeView::refresh() {
    m_hooks = m_environment.hooks.status();
    m_launchAtLogin = m_environment.loginItem.isEnabled();
    if (m_environment.hasCodex && areComplete(*m_hooks) && !m_codexTrust)
        checkCodex();
    draw();
}

void WelcomeView::tick() {
    Daemon& daemon = m_environment.daemon;
    // A code is always on show while the first phone is awaited.
    if (const auto relay = daemon.config().relay(); relay && relay->devices.empty())
        std::ignore = daemon.currentInvite();
    if (m_testSentAt) {
        if (const auto result = daemon.testPushResult(*m_testSentAt)) {
            m_testResult = QString::fromStdString(result->text);
            m_testSucceeded = result->succeeded;
            m_testSentAt.reset();
        }
    }
    if (m_environment.hooks.status() != m_hooks)
        refresh();
    else
        draw();
}

void WelcomeView::checkCodex() {
    if (m_codexCheck)
        return;
    m_codexCheck = std::make_unique<CodexTrustCheck>(
        m_environment.codexProgram(), m_environment.home, codexPatience,
        [this](const std::optional<Hooks::CodexTrust>& trust) {
            m_codexTrust = trust;
            m_codexCheck.reset();
            draw();
        },
        m_environment.descriptorLimit);
    draw();
}

void WelcomeView::skipCodex() {
    m_codexCheck.reset(); // Its result would take this back.
    const int all = static_cast<int>(Hooks::codexEvents().size());
    m_codexTrust = Hooks::CodexTrust{.usable = all, .total = all};
    draw();
}

void WelcomeView::attempt(const std::function<void()>& action) {
    try {
        action();
        m_error.reset();
    } catch (const std::exception& failure) {
        m_error = QString::fromUtf8(failure.what());
    }
    draw();
}

void WelcomeView::takeOverLegacy() {
    const auto failure = takeOver(
        m_environment.legacy, m_environment.hooks, [this] { m_environment.daemon.restartServer(); },
        [this] { refresh(); });
    m_error = failure ? std::optional(QString::fromStdString(*failure)) : std::nullopt;
    draw();
}

void WelcomeView::setUpRelay() {
    if (m_environment.needsRelayURL)
        m_environment.openPairing();
    else
        attempt([this] { m_environment.daemon.setUpRelay(); });
}

void WelcomeView::sendTestPush() {
    m_testResult = tr("傳送中…");
    m_testSentAt = std::chrono::system_clock::now();
    m_environment.daemon.testPush();
    draw();
}

void WelcomeView::setLaunchAtLogin(bool on) {
    attempt([&] { m_environment.loginItem.setEnabled(on); });
    m_launchAtLogin = m_environment.loginItem.isEnabled();
    draw();
}

void WelcomeView::finish() {
    Daemon& daemon = m_environment.daemon;
    const JSONValue* done = daemon.config().raw.find("welcomeDone");
    if (!done || *done != JSONValue(true))
        daemon.markWelcomeDone();
    close();
}
