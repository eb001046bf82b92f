#pragma once

#include <cstddef>

#include <QIcon>

/// What the tray icon is drawn for.
enum class TrayGround { light, dark };

/// Whether it is GNOME or built on it.
/// @param desktop XDG_CURRENT_DESKTOP
[[nodiscard]] bool isGNOME(const QString& desktop);

/// The ground of the desktop's bar, as far as it can be known: the top bar of GNOME is dark
/// whatever the theme; elsewhere it is taken to be like the windows.
/// @param desktop XDG_CURRENT_DESKTOP
[[nodiscard]] TrayGround trayGround(const QString& desktop);

/// The picture of the tray, in every size that hosts ask for, each drawn for its own pixel grid:
/// a phone, and while items wait, one with waves and their number in a tag (at most "99+").
/// While nothing waits it also names the symbolic icon "tamsell-symbolic" where that is installed,
/// so that the host can colour it.
[[nodiscard]] QIcon trayIcon(std::size_t waiting, TrayGround ground);
