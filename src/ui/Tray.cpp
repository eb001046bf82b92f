#include "ui/Tray.h"

#include <QActionGroup>
#include <QApplication>
#include <QEvent>

#include "ui/TrayIcon.h"

namespace {

// In a menu "&" marks the letter of a shortcut.
QString plain(QString text) {
    return text.replace(QLatin1Char('&'), QLatin1String("&&"));
}

} // namespace

Tray::Tray() {
    m_menu.setObjectName(QStringLiteral("trayMenu"));
    m_menu.addAction(tr("打開 Tamsell"), this, &Tray::panelClicked);
    m_menu.addAction(tr("打開網頁"), this, &Tray::pageClicked);
    m_menu.addSeparator();
    addModes();
    m_menu.addSeparator();
    m_pair = m_menu.addAction(QString(), this, &Tray::pairClicked);
    m_update = m_menu.addAction(QString(), this, &Tray::updateClicked);
    m_launchAtLogin = m_menu.addAction(tr("登入時自動啟動"));
    m_launchAtLogin->setCheckable(true);
    connect(m_launchAtLogin, &QAction::triggered, this, &Tray::launchAtLoginChosen);
    m_menu.addAction(tr("設定指南…"), this, &Tray::guideClicked);
    m_checkForUpdates = m_menu.addAction(tr("檢查更新…"), this, &Tray::updateClicked);
    m_removeHooks = m_menu.addAction(tr("移除 hooks"), this, &Tray::removeHooksClicked);
    m_menu.addSeparator();
    m_menu.addAction(tr("結束"), this, &Tray::quitClicked);

    connect(&m_menu, &QMenu::aboutToShow, this, &Tray::menuOpening);
    m_icon.setContextMenu(&m_menu);
    connect(&m_icon, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason != QSystemTrayIcon::Context)
                    Q_EMIT activated();
            });
    qApp->installEventFilter(this);
}

void Tray::addModes() {
    QMenu* menu = m_menu.addMenu(tr("轉發到手機"));
    auto* group = new QActionGroup(menu);
    for (const AwayMode mode : {AwayMode::off, AwayMode::automatic, AwayMode::on}) {
        QAction* action = menu->addAction(QString::fromStdString(label(mode)));
        action->setCheckable(true);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, mode] { Q_EMIT modeChosen(mode); });
        m_modes.emplace(mode, action);
    }
}

void Tray::show(const TrayState& state) {
    const bool isNewIcon = !m_state || m_state->waiting != state.waiting;
    const bool isNewToolTip = !m_state || m_state->toolTip != state.toolTip;
    m_state = state;
    // All of them, also what seems to be as before: a click has changed it, and may be refused.
    const MenuState& menu = state.menu;
    m_modes.at(menu.mode)->setChecked(true);
    m_pair->setText(menu.pairButton);
    m_update->setVisible(menu.updateButton.has_value());
    m_update->setText(plain(menu.updateButton.value_or(QString())));
    m_launchAtLogin->setChecked(menu.launchAtLogin);
    m_checkForUpdates->setVisible(menu.showsUpdateCheck);
    m_checkForUpdates->setEnabled(menu.enablesUpdateCheck);
    m_removeHooks->setVisible(menu.offersHookRemoval);
    if (isNewIcon)
        drawIcon();
    if (isNewToolTip)
        m_icon.setToolTip(state.toolTip);
    m_icon.show();
}

void Tray::drawIcon() {
    const QString desktop = qEnvironmentVariable("XDG_CURRENT_DESKTOP");
    m_icon.setIcon(trayIcon(m_state->waiting, trayGround(desktop)));
}

bool Tray::eventFilter(QObject* watched, QEvent* event) {
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange && m_state)
        drawIcon();
    return QObject::eventFilter(watched, event);
}
