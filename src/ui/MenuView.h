#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QObject>

#include "core/Locations.h"
#include "daemon/Daemon.h"
#include "hooks/CodexTrust.h"
#include "hooks/Hooks.h"
#include "hooks/LegacyDaemon.h"
#include "platform/Scheduler.h"
#include "ui/MenuPanel.h"
#include "ui/MenuState.h"
#include "ui/TrayState.h"
#include "update/Updater.h"

/// The panel with its few fields of its own: reads everything else from the daemon and the agents'
/// files, and does what is clicked.
///
/// It looks at the agents' files and asks Codex when it appears and after what changes them. While
/// it is not to be seen it draws nothing, and computes only what the tray shows. What it does, the
/// tray's menu has it do as well.
class MenuView final : public QObject {
    Q_OBJECT

  public:
    /// What the panel reaches; all of it outlives the panel.
    struct Environment {
        Daemon& daemon;
        const Hooks& hooks;
        const LegacyDaemon& legacyDaemon;
        Scheduler& scheduler;
        Locations locations;
        std::function<std::optional<std::filesystem::path>()> findCodex;
        std::optional<DescriptorLimit> descriptorLimit{}; ///< for Codex
        Updater* updater = nullptr;                       ///< where there is one
        std::function<bool()> launchesAtLogin = [] { return false; };
        /// May throw.
        std::function<void(bool)> setLaunchAtLogin = [](bool) {};
        std::function<void()> openPairing = [] {};
        std::function<void()> showSetupGuide = [] {};
        std::function<void()> quit = [] {};
    };

    explicit MenuView(Environment environment);
    ~MenuView() override;

    /// Made when it is first asked for.
    [[nodiscard]] MenuPanel& panel();
    /// The panel is being opened, anew as well.
    void appears();
    /// Looks at what others may have changed.
    void refresh();

    /// What it is now, with the agents' files and the login item looked at anew.
    [[nodiscard]] TrayState freshTrayState();
    [[nodiscard]] TrayState trayState() const;
    /// Why the last action failed.
    [[nodiscard]] const std::optional<QString>& error() const { return m_error; }

    void setMode(AwayMode mode);
    void setLaunchAtLogin(bool on);
    void removeHooks();
    void openPairing() { m_environment.openPairing(); }
    void showSetupGuide() { m_environment.showSetupGuide(); }
    void checkForUpdates();
    void quit() { m_environment.quit(); }

  Q_SIGNALS:
    /// It may be the same as before.
    void trayChanged(const TrayState& state);

  private:
    /// All but the items and the sessions.
    [[nodiscard]] MenuFacts surroundings() const;
    [[nodiscard]] MenuFacts facts() const;
    void lookAtFiles();
    [[nodiscard]] bool hasCodex() const;
    void draw();
    void drawSoon();
    void connectPanel();
    void installHooks();
    void takeOver();

    const Environment m_environment;
    std::unique_ptr<MenuPanel> m_panel;
    Hooks::Status m_hooks;
    std::optional<Hooks::CodexTrust> m_codexTrust;
    std::optional<QString> m_error; // Stands in the panel until an action goes well.
    bool m_launchAtLogin = false;
    std::unique_ptr<CodexTrustCheck> m_trustCheck;
    std::unique_ptr<Scheduler::Timer> m_drawing;
};
