#include "ui/WelcomeView.h"

#include <tuple>

#include <QScreen>
#include <QUrl>

#include "hooks/Takeover.h"
#include "ui/Failure.h"
#include "ui/MenuState.h"

namespace {

constexpr std::chrono::seconds tickInterval{1};
// Codex starts its whole runtime to answer.
constexpr std::chrono::seconds codexPatience{8};

} // namespace

WelcomeView::WelcomeView(Environment environment, QWidget* parent)
    : ColumnWindow("welcomeWindow", tr("歡迎使用 Tamsell"), new WelcomePanel, parent),
      m_environment(std::move(environment)),
      m_panel(static_cast<WelcomePanel*>(content())) {
    setFocusProxy(m_panel);
    connectPanel();
    connect(&m_environment.daemon, &Daemon::changed, this, &WelcomeView::draw);
}

void WelcomeView::connectPanel() {
    connect(m_panel, &WelcomePanel::takeOverClicked, this, &WelcomeView::takeOverLegacy);
    connect(m_panel, &WelcomePanel::retryClicked, &m_environment.daemon, &Daemon::retryServer);
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

bool WelcomeView::isPlaceholder(const std::string& relayURL) {
    const QString host = QUrl(QString::fromStdString(relayURL)).host();
    return (QLatin1Char('.') + host).endsWith(QLatin1String(".example"), Qt::CaseInsensitive);
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
    m_error = failureOf(action);
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
    if (!daemon.isWelcomeDone())
        daemon.markWelcomeDone();
    close();
}
