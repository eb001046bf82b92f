#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "platform/Scheduler.h"
#include "platform/TrayHost.h"
#include "ui/MenuView.h"
#include "ui/PanelWindow.h"
#include "ui/Tray.h"

/// Where the panel is found on this desktop: behind an icon in the tray, as soon as there is
/// something that shows it; otherwise as a window, at start and whenever somebody asks.
class MenuBarExtra final : public QObject {
    Q_OBJECT

  public:
    /// What is shared with the rest of the program; all of it outlives this.
    struct Environment {
        MenuView& view;
        Scheduler& scheduler;
        std::function<void()> openPage = [] {};
        /// Whether another window leads the person at the moment: the panel then does not open by
        /// itself.
        std::function<bool()> isBusyElsewhere = [] { return false; };
    };

    explicit MenuBarExtra(Environment environment);

    /// The application is up. Without a tray the panel opens in a moment.
    void start();
    void openPanel();
    /// The panel, where nothing else leads to it.
    void openPanelWithoutTray();

  private:
    void trayHostChanged();
    void connectTray();
    void toggle();
    void reveal();
    [[nodiscard]] bool hasTray() const { return m_tray && m_host.isPresent(); }

    const Environment m_environment;
    TrayHost m_host;
    std::unique_ptr<Tray> m_tray;
    std::unique_ptr<PanelWindow> m_window;
    PanelWindow::Kind m_kind = PanelWindow::Kind::window;
    PanelWindow::Compositing m_compositing = PanelWindow::Compositing::missing;
    std::chrono::steady_clock::time_point m_closedAt;
    std::chrono::steady_clock::time_point m_toggledOpenAt;
    std::unique_ptr<Scheduler::Timer> m_waiting;
};
