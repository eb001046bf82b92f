#include "app/SetupGuide.h"

#include <filesystem>

#include <QEvent>

#include "hooks/CodexTrust.h"
#include "ui/MenuState.h"

SetupGuide::SetupGuide(Environment environment) : m_environment(std::move(environment)) {}

// Devices are not looked at: pairing is for the pairing window to offer.
bool SetupGuide::isSetUp() const {
    return m_environment.daemon.config().relay() && areComplete(m_environment.hooks.status());
}

void SetupGuide::showSetupGuideIfNeeded() {
    if (m_environment.daemon.isWelcomeDone() || m_environment.variables("TAMSELL_NO_WELCOME"))
        return;
    if (isSetUp())
        m_environment.daemon.markWelcomeDone();
    else
        showSetupGuide();
}

void SetupGuide::showSetupGuide() {
    if (m_window) {
        m_window->open();
        return;
    }
    const Environment& from = m_environment;
    std::error_code error;
    m_window = std::make_unique<WelcomeView>(WelcomeView::Environment{
        .daemon = from.daemon,
        .hooks = from.hooks,
        .legacy = from.legacyDaemon,
        .loginItem = from.loginItem,
        .scheduler = from.scheduler,
        .home = from.locations.home,
        .codexProgram =
            [this] { return findCodex(m_environment.variables, m_environment.locations.home); },
        .descriptorLimit = from.descriptorLimit,
        .hasClaude = from.hooks.claudeInstalled(),
        .hasCodex = std::filesystem::is_directory(from.locations.codexHome, error),
        .needsRelayURL = WelcomeView::isPlaceholder(defaultRelayURL(from.variables)),
        .openPairing = from.openPairing});
    m_window->installEventFilter(this);
    m_window->open();
    from.daemon.log("tamsell: showing the setup guide");
}

bool SetupGuide::eventFilter(QObject* watched, QEvent* event) {
    // Minimising hides no window; closing does.
    if (event->type() == QEvent::Hide && !event->spontaneous())
        Q_EMIT closed();
    return QObject::eventFilter(watched, event);
}
