#include "ui/MenuBarExtra.h"

#include <QCursor>
#include <QGuiApplication>

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
    MenuPanel& panel = m_environment.view.panel();
    // Others change the hooks and the login item, too, and checks for updates have no signal.
    connect(tray, &Tray::menuOpening, this,
            [this] { m_tray->show(m_environment.view.freshTrayState()); });
    connect(tray, &Tray::activated, this, &MenuBarExtra::toggle);
    connect(tray, &Tray::panelClicked, this, &MenuBarExtra::openPanel);
    connect(tray, &Tray::pageClicked, this, m_environment.openPage);
    connect(tray, &Tray::modeChosen, &panel, &MenuPanel::modeChosen);
    connect(tray, &Tray::pairClicked, &panel, &MenuPanel::pairClicked);
    connect(tray, &Tray::updateClicked, &panel, &MenuPanel::updateClicked);
    connect(tray, &Tray::guideClicked, &panel, &MenuPanel::guideClicked);
    connect(tray, &Tray::quitClicked, &panel, &MenuPanel::quitClicked);
    // What the panel does with these may fail; it does it first.
    connect(tray, &Tray::launchAtLoginChosen, &panel, &MenuPanel::launchAtLoginChosen);
    connect(tray, &Tray::launchAtLoginChosen, this, &MenuBarExtra::reveal);
    connect(tray, &Tray::removeHooksClicked, &panel, &MenuPanel::removeHooksClicked);
    connect(tray, &Tray::removeHooksClicked, this, &MenuBarExtra::reveal);
}

// What went wrong stands in the panel.
void MenuBarExtra::reveal() {
    if (m_environment.view.error())
        openPanel();
}

void MenuBarExtra::toggle() {
    const bool isOpen = m_window && m_window->isVisible() && m_kind == PanelWindow::Kind::popup;
    if (isOpen)
        m_window->hide();
    else if (std::chrono::steady_clock::now() - m_closedAt > sameClick)
        openPanel();
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
