#pragma once

#include <map>
#include <memory>
#include <optional>

#include <QMenu>
#include <QSystemTrayIcon>

#include "core/Config.h"
#include "ui/TrayState.h"

/// The icon in the desktop's tray, with a menu that has the modes and the commands at the foot of
/// the panel: many desktops show nothing but that menu. Nothing in it answers a question.
///
/// Qt decides once in a process how its icons are shown: the first of them is to be made when the
/// tray is there.
class Tray final : public QObject {
    Q_OBJECT

  public:
    Tray();

    void show(const TrayState& state);

  Q_SIGNALS:
    /// The menu is about to be seen, where the desktop says so.
    void menuOpening();
    /// The icon was clicked.
    void activated();
    void panelClicked();
    void pageClicked();
    void modeChosen(AwayMode mode);
    void pairClicked();
    void updateClicked();
    void launchAtLoginChosen(bool on);
    void guideClicked();
    void removeHooksClicked();
    void quitClicked();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void addModes();
    void drawIcon();

    std::optional<TrayState> m_state;
    QMenu m_menu;
    std::map<AwayMode, QAction*> m_modes;
    QAction* m_pair = nullptr;
    QAction* m_update = nullptr;
    QAction* m_launchAtLogin = nullptr;
    QAction* m_checkForUpdates = nullptr;
    QAction* m_removeHooks = nullptr;
    QSystemTrayIcon m_icon; // Last: it shows the menu.
};
