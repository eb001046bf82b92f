#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Process.h"
#include "StatusNotifierHost.h"

namespace bench {

/// A screen (Xvfb), a session bus (dbus-daemon) and a tray, and nothing else: no window manager, no
/// service, and nothing of the desktop on which this runs.
class BareDesktop {
  public:
    /// @throws std::runtime_error when Xvfb or dbus-daemon is missing or does not come up
    BareDesktop();

    /// All that a program on this desktop has in its environment.
    [[nodiscard]] const Command::Environment& environment() const { return m_environment; }
    [[nodiscard]] StatusNotifierHost& tray() { return m_tray; }

    /// What shows, four bytes a pixel; empty while no window shows.
    [[nodiscard]] std::vector<std::uint8_t> picture() const;
    /// @throws std::runtime_error after ten seconds
    void awaitWindow() const;
    void awaitNoWindow() const;

  private:
    void await(bool hasWindow) const;

    ScratchDirectory m_directory;
    Process m_bus;
    std::string m_busAddress;
    Process m_server;
    std::string m_display;
    Command::Environment m_environment;
    StatusNotifierHost m_tray;
};

} // namespace bench
