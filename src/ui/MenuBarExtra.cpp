#include "ui/MenuBarExtra.h"

#include <QApplication>
#include <QCursor>

#include "platform/DisplayServer.h"

using namespace std::chrono_literals;

namespace {

// At log-in the desktop's panel comes up together with this program.
constexpr auto trayPatience = 2s;
// The click on the icon that takes the panel's focus, and so closes it, is not to open it again.
constexpr auto sameClick = 250ms;

PanelWindow::Compositing compositing() {
    // Every Wayland compositor is one.
    const bool isComposed =
        QGuiApplication::platformName() == QLatin1String("wayland") || hasX11Compositor();
    return isComposed ? PanelWindow::Compositing::available : PanelWindow::Compositing::missing;
}

} // namespace

MenuBarExtra::MenuBarExtra(Environment environment) : m_environment(std::move(environment)) {
    connect(&m_host, &TrayHost::changed, this, &MenuBarExtra::trayHostChanged);
    connect(&m_environment.view, &MenuView::trayChanged, this, [this](const TrayState& state) {
        if (m_tray)
            m_tray->show(state);
    });
}

void MenuBarExtra::start() {
    m_waiting = m_environment.scheduler.after(trayPatience, [this] {
        m_waiting.reset();
        openPanelWithoutTray();
    });
}

void MenuBarExtra::openPanelWithoutTray() {
    if (!m_waiting && !hasTray() && !m_environment.isBusyElsewhere())
        openPanel();
}

void MenuBarExtra::trayHostChanged() {
    if (!m_host.isPresent() || m_tray)
        return; // The icon goes and comes with its host by itself.
    m_tray = std::make_unique<Tray>();
    connectTray();
    m_tray->show(m_environment.view.trayState());
}

void MenuBarExtra::connectTray() {
    const Tray* const tray = m_tray.get();
    MenuView* const view = &m_environment.view;
    // Others change the hooks and the login item, too, and checks for updates have no signal.
    connect(tray, &Tray::menuOpening, this,
            [this] { m_tray->show(m_environment.view.freshTrayState()); });
    connect(tray, &Tray::activated, this, &MenuBarExtra::toggle);
    connect(tray, &Tray::panelClicked, this, &MenuBarExtra::openPanel);
    connect(tray, &Tray::pageClicked, this, m_environment.openPage);
    connect(tray, &Tray::modeChosen, view, &MenuView::setMode);
    connect(tray, &Tray::pairClicked, view, &MenuView::openPairing);
    connect(tray, &Tray::updateClicked, view, &MenuView::checkForUpdates);
    connect(tray, &Tray::guideClicked, view, &MenuView::showSetupGuide);
    connect(tray, &Tray::quitClicked, view, &MenuView::quit);
    connect(tray, &Tray::launchAtLoginChosen, this, [this, view](bool on) {
        view->setLaunchAtLogin(on);
        reveal();
    });
    connect(tray, &Tray::removeHooksClicked, this, [this, view] {
        view->removeHooks();
        reveal();
    });
}

// What went wrong stands in the panel.
void MenuBarExtra::reveal() {
    if (m_environment.view.error())
        openPanel();
}

void MenuBarExtra::toggle() {
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::milliseconds doubleClick(QApplication::doubleClickInterval());
    const bool isOpen = m_window && m_window->isVisible() && m_kind == PanelWindow::Kind::popup;
    // The second half of a double click wants what the first has opened, though it may have taken
    // the focus from it and so closed it.
    if (now - m_toggledOpenAt < doubleClick) {
        openPanel();
    } else if (isOpen) {
        m_window->hide();
    } else if (now - m_closedAt > sameClick) {
        openPanel();
        m_toggledOpenAt = std::chrono::steady_clock::now(); // Making it takes a moment.
    }
}

void MenuBarExtra::openPanel() {
    const auto kind = hasTray() ? PanelWindow::Kind::popup : PanelWindow::Kind::window;
    const auto composited = compositing();
    // Also one that is open: its window becomes the panel behind an icon that has come since.
    if (!m_window || kind != m_kind || composited != m_compositing) {
        m_kind = kind;
        m_compositing = composited;
        m_window.reset(); // Before the next one takes what it shows.
        m_window = std::make_unique<PanelWindow>(&m_environment.view.panel(), kind, composited);
        connect(m_window.get(), &PanelWindow::opening, &m_environment.view, &MenuView::appears);
        connect(m_window.get(), &PanelWindow::moved, &m_environment.view.panel(),
                &MenuPanel::disarm);
        connect(m_window.get(), &PanelWindow::closed, this,
                [this] { m_closedAt = std::chrono::steady_clock::now(); });
    }
    m_window->openAt(QCursor::pos());
}
