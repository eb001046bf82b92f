#pragma once

#include "core/Locations.h"

/// The display that the environment names (WAYLAND_DISPLAY, and XDG_RUNTIME_DIR for where it is;
/// DISPLAY). An empty variable names nothing.
enum class DisplayServer {
    none,        ///< no display is named
    unreachable, ///< one is named, and does not take a connection and answer: not yet, perhaps
    reachable
};

/// Connects, and closes the connection again. Of several displays one is enough. Waits a second at
/// most for a display of this computer that does not answer; one elsewhere may take longer.
[[nodiscard]] DisplayServer probeDisplayServer(const EnvironmentLookup& environment);

/// Whether an X11 display has a compositing manager, so that windows may be translucent (the
/// selection _NET_WM_CM_Sn of freedesktop.org, "Extended Window Manager Hints"). False without an
/// X11 display. Asks the one that this process's DISPLAY names, on a connection of its own, and
/// waits for its answer.
[[nodiscard]] bool hasX11Compositor();
