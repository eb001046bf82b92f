#pragma once

#include <memory>
#include <optional>

#include "app/AppDelegate.h"
#include "app/ProcessDaemon.h"
#include "app/SetupGuide.h"
#include "hooks/Hooks.h"
#include "hooks/LegacyDaemon.h"
#include "platform/DescriptorLimit.h"
#include "platform/FileManager.h"
#include "platform/LoginItem.h"
#include "ui/MenuBarExtra.h"
#include "ui/MenuView.h"
#include "ui/PairView.h"
#include "update/Updater.h"

/// The desktop application: the daemon, and everything that people see of it. There is no main
/// window; there are the icon in the tray with its panel, the pairing window and the setup guide.
class TamsellMacApp {
  public:
    /// Starts the daemon.
    /// @param process lives longer
    TamsellMacApp(ProcessDaemon& process, const DescriptorLimit& descriptorLimit);
    ~TamsellMacApp();
    TamsellMacApp(const TamsellMacApp&) = delete;
    TamsellMacApp& operator=(const TamsellMacApp&) = delete;

    /// Once the application has come up.
    void finishLaunching();
    /// Somebody has launched the program again.
    /// @param activationToken of that launch; it lets the panel come to the front
    void launchedAgain(const QString& activationToken);

  private:
    [[nodiscard]] Updater::Environment updaterEnvironment();
    [[nodiscard]] MenuView::Environment menuEnvironment(const DescriptorLimit& descriptorLimit);
    void openPairing();
    void openPage();

    ProcessDaemon& m_process;
    const Hooks m_hooks;
    const LegacyDaemon m_legacyDaemon;
    const LoginItem m_loginItem;
    FileManager m_fileManager;
    Updater m_updater;
    SetupGuide m_guide;
    AppDelegate m_delegate;
    MenuView m_menu;
    MenuBarExtra m_menuBarExtra;
    std::unique_ptr<PairView> m_pairing; ///< made when it is first opened
};
