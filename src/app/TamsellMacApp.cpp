#include "app/TamsellMacApp.h"

#include <QCoreApplication>
#include <QDesktopServices>

#include "core/PageURL.h"
#include "platform/DownloadsFolder.h"
#include "platform/Endpoint.h"
#include "ui/UpdateWindow.h"
#include "update/AppcastUpdateController.h"

TamsellMacApp::TamsellMacApp(ProcessDaemon& process, const DescriptorLimit& descriptorLimit)
    : m_process(process),
      m_hooks(process.locations(), process.bundle().auxiliaryExecutable("tamsell-hook")),
      m_legacyDaemon(process.locations().home),
      m_loginItem(processEnvironment, process.locations().home,
                  process.bundle().program("tamsell").value_or("tamsell")),
      m_updater(updaterEnvironment()),
      m_guide({.daemon = process.daemon(),
               .hooks = m_hooks,
               .legacyDaemon = m_legacyDaemon,
               .loginItem = m_loginItem,
               .scheduler = process.scheduler(),
               .locations = process.locations(),
               .descriptorLimit = descriptorLimit,
               .openPairing = [this] { openPairing(); }}),
      m_delegate(m_updater, m_guide),
      m_menu(menuEnvironment(descriptorLimit)),
      m_menuBarExtra({.view = m_menu,
                      .scheduler = process.scheduler(),
                      .openPage = [this] { openPage(); },
                      .isBusyElsewhere = [this] { return m_guide.isVisible(); }}) {
    // The guide has ended: without a tray, this is where the rest is.
    QObject::connect(&m_guide, &SetupGuide::closed, &m_menuBarExtra,
                     &MenuBarExtra::openPanelWithoutTray);
    process.daemon().start();
}

TamsellMacApp::~TamsellMacApp() = default;

void TamsellMacApp::finishLaunching() {
    m_delegate.applicationDidFinishLaunching();
    m_menuBarExtra.start();
}

void TamsellMacApp::launchedAgain(const QString& activationToken) {
    // Where Qt takes it from.
    if (!activationToken.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", activationToken.toUtf8());
    m_menuBarExtra.openPanel();
}

Updater::Environment TamsellMacApp::updaterEnvironment() {
    const Locations& locations = m_process.locations();
    const UpdateSettings settings = UpdateSettings::configured();
    return {
        .settings = settings,
        .makeController = AppcastUpdateController::factory(
            {.feedURL = settings.feedURL,
             .currentVersion = TAMSELL_VERSION,
             .stateFile = locations.dataDirectory / "update.json",
             .downloadsFolder =
                 [home = locations.home] { return downloadsFolder(processEnvironment, home); },
             .makeDialog = [this] { return std::make_unique<UpdateWindow>(m_process.scheduler()); },
             .showFile =
                 [this](const std::filesystem::path& file) { m_fileManager.showInFolder(file); },
             .scheduler = &m_process.scheduler()})};
}

MenuView::Environment TamsellMacApp::menuEnvironment(const DescriptorLimit& descriptorLimit) {
    const std::filesystem::path home = m_process.locations().home;
    return {.daemon = m_process.daemon(),
            .hooks = m_hooks,
            .legacyDaemon = m_legacyDaemon,
            .scheduler = m_process.scheduler(),
            .locations = m_process.locations(),
            .findCodex = [home] { return findCodex(processEnvironment, home); },
            .descriptorLimit = descriptorLimit,
            .updater = &m_updater,
            .launchesAtLogin = [this] { return m_loginItem.isEnabled(); },
            .setLaunchAtLogin = [this](bool on) { m_loginItem.setEnabled(on); },
            .openPairing = [this] { openPairing(); },
            .showSetupGuide = [this] { m_guide.showSetupGuide(); },
            .quit = [] { QCoreApplication::quit(); }};
}

void TamsellMacApp::openPairing() {
    if (!m_pairing)
        m_pairing = std::make_unique<PairView>(PairView::Environment{
            .daemon = m_process.daemon(),
            .scheduler = m_process.scheduler(),
            .defaultRelayURL = QString::fromStdString(defaultRelayURL(processEnvironment))});
    m_pairing->open();
}

void TamsellMacApp::openPage() {
    if (const auto link = m_process.daemon().pageLink())
        QDesktopServices::openUrl(QUrl(QString::fromStdString(*link)));
    else
        m_menuBarExtra.openPanel(); // It says why nobody listens.
}
