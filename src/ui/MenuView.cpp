#include "ui/MenuView.h"

#include <filesystem>

#include "hooks/Takeover.h"
#include "ui/Failure.h"

using namespace std::chrono_literals;

namespace {

constexpr auto trustTimeout = 8s;
// Events come in bursts; the panel shows what they have led to.
constexpr auto drawingPause = 30ms;

} // namespace

MenuView::MenuView(Environment environment)
    : m_environment(std::move(environment)),
      m_hooks(m_environment.hooks.status()),
      m_launchAtLogin(m_environment.launchesAtLogin()) {
    connect(&m_environment.daemon, &Daemon::changed, this, &MenuView::drawSoon);
    if (m_environment.updater)
        connect(m_environment.updater, &Updater::availableChanged, this, &MenuView::drawSoon);
}

MenuView::~MenuView() = default;

MenuPanel& MenuView::panel() {
    if (!m_panel) {
        m_panel = std::make_unique<MenuPanel>(m_environment.scheduler);
        connectPanel();
        draw();
    }
    return *m_panel;
}

void MenuView::connectPanel() {
    Daemon& daemon = m_environment.daemon;
    const MenuPanel* const panel = m_panel.get();
    connect(panel, &MenuPanel::answered, this,
            [&daemon](const QString& id, const JSONObject& answer) {
                try {
                    daemon.answer(id.toStdString(), answer);
                } catch (const DaemonError&) { // NOLINT(bugprone-empty-catch): the row goes anyway
                }
            });
    connect(panel, &MenuPanel::retryClicked, this, [&daemon] { daemon.retryServer(); });
    connect(panel, &MenuPanel::takeOverClicked, this, &MenuView::takeOver);
    connect(panel, &MenuPanel::recheckClicked, this, &MenuView::refresh);
    connect(panel, &MenuPanel::installClicked, this, &MenuView::installHooks);
    connect(panel, &MenuPanel::modeChosen, this, &MenuView::setMode);
    connect(panel, &MenuPanel::pairClicked, this, &MenuView::openPairing);
    connect(panel, &MenuPanel::updateClicked, this, &MenuView::checkForUpdates);
    connect(panel, &MenuPanel::launchAtLoginChosen, this, &MenuView::setLaunchAtLogin);
    connect(panel, &MenuPanel::guideClicked, this, &MenuView::showSetupGuide);
    connect(panel, &MenuPanel::removeHooksClicked, this, &MenuView::removeHooks);
    connect(panel, &MenuPanel::quitClicked, this, &MenuView::quit);
}

void MenuView::setMode(AwayMode mode) {
    m_environment.daemon.setMode(mode);
}

void MenuView::installHooks() {
    m_error = failureOf([this] { m_environment.hooks.install(); });
    refresh();
}

void MenuView::removeHooks() {
    m_error = failureOf([this] { m_environment.hooks.removeEntries(); });
    refresh();
}

void MenuView::setLaunchAtLogin(bool on) {
    m_error = failureOf([this, on] { m_environment.setLaunchAtLogin(on); });
    m_launchAtLogin = m_environment.launchesAtLogin();
    draw();
}

void MenuView::takeOver() {
    const auto failure = ::takeOver(
        m_environment.legacyDaemon, m_environment.hooks,
        [this] {
            m_error.reset();
            m_environment.daemon.restartServer();
        },
        [this] { refresh(); });
    if (failure)
        m_error = QString::fromStdString(*failure);
    draw();
}

void MenuView::checkForUpdates() {
    if (m_environment.updater)
        m_environment.updater->checkForUpdates();
}

void MenuView::appears() {
    panel().disarm();
    refresh();
}

bool MenuView::hasCodex() const {
    std::error_code error;
    return std::filesystem::is_directory(m_environment.locations.codexHome, error);
}

void MenuView::lookAtFiles() {
    m_hooks = m_environment.hooks.status();
    m_launchAtLogin = m_environment.launchesAtLogin();
}

void MenuView::refresh() {
    lookAtFiles();
    if (hasCodex())
        m_trustCheck = std::make_unique<CodexTrustCheck>(
            m_environment.findCodex(), m_environment.locations.home, trustTimeout,
            [this](const std::optional<Hooks::CodexTrust>& trust) {
                m_codexTrust = trust;
                draw();
            },
            m_environment.descriptorLimit);
    draw();
}

TrayState MenuView::freshTrayState() {
    lookAtFiles();
    return trayState();
}

TrayState MenuView::trayState() const {
    return TrayState::of(surroundings(), m_environment.daemon.pending().size());
}

MenuFacts MenuView::facts() const {
    const Daemon& daemon = m_environment.daemon;
    MenuFacts facts = surroundings();
    facts.pending.assign(daemon.pending().begin(), daemon.pending().end());
    for (const auto& [id, session] : daemon.activity().sessions())
        facts.sessions.push_back(session);
    return facts;
}

MenuFacts MenuView::surroundings() const {
    Daemon& daemon = m_environment.daemon;
    MenuFacts facts;
    if (const auto relay = daemon.config().relay())
        facts.pairedPhones = relay->devices.size();
    facts.isConnected = daemon.relay().connected();
    facts.phonesOnline = daemon.relay().online().size();
    facts.server = daemon.serverState();
    facts.mode = daemon.config().mode();
    facts.isAway = daemon.away();
    facts.idleMinutes = daemon.config().number("idleMinutes");
    facts.hooks = m_hooks;
    facts.hasCodex = hasCodex();
    facts.codexTrust = m_codexTrust;
    facts.hasLegacyDaemon = m_environment.legacyDaemon.legacyAgentInstalled();
    facts.error = m_error;
    facts.launchAtLogin = m_launchAtLogin;
    if (const Updater* updater = m_environment.updater; updater && updater->hasController()) {
        facts.updater =
            updater->canCheckForUpdates() ? MenuFacts::Updater::ready : MenuFacts::Updater::busy;
        if (updater->available())
            facts.availableVersion = QString::fromStdString(*updater->available());
    }
    return facts;
}

void MenuView::drawSoon() {
    if (m_drawing)
        return;
    m_drawing = m_environment.scheduler.after(drawingPause, [this] {
        m_drawing.reset();
        if (m_panel && m_panel->isVisible())
            draw();
        else
            Q_EMIT trayChanged(trayState());
    });
}

void MenuView::draw() {
    if (m_panel)
        m_panel->show(MenuState::of(facts()));
    Q_EMIT trayChanged(trayState());
}
