#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/IdleSource.h"

class IdleBus;

/// The sources that IdleSources puts together, one file each. None opens anything before its first
/// read; each read ends within 100 ms, but for what is said at x11IdleSource.
namespace idle {

using WallClock = std::function<std::chrono::system_clock::time_point()>;

/// org.gnome.Mutter.IdleMonitor on the session bus.
[[nodiscard]] std::unique_ptr<IdleSource> mutterIdleSource(std::shared_ptr<IdleBus> sessionBus);

/// GetSessionIdleTime of org.freedesktop.ScreenSaver on the session bus, in whichever unit the
/// service has (see IdleUnit).
[[nodiscard]] std::unique_ptr<IdleSource>
screenSaverIdleSource(std::shared_ptr<IdleBus> sessionBus,
                      SteadyClock now = std::chrono::steady_clock::now);

/// ext-idle-notify-v1 of the Wayland compositor. That protocol only says when the user has been
/// idle for a second and when this ends, without times, so what it says is dated by the read that
/// finds it: the result is 0 until a second of idleness was told of, and may afterwards fall short
/// of the truth by the time between two reads, never exceed it. Idleness from before the first
/// read is unknown to it. While a client holds an idle inhibitor (a film), no idleness is told of.
///
/// A compositor drops clients that leave some hundreds of messages unread, as here when nothing is
/// read for long; then the connection is made anew and counting starts over.
/// @param socket the compositor's; a missing one is a failed read
[[nodiscard]] std::unique_ptr<IdleSource>
waylandIdleSource(std::filesystem::path socket, SteadyClock now = std::chrono::steady_clock::now);

/// The X11 screen-saver extension of a local display. Not for Wayland sessions: the X server there
/// sees no input that goes to native windows.
///
/// The handshake of XCB has no bound. It begins only after the server answered a probe within the
/// bound, on a connection of its own, so that a hung server is not waited for; one that stops
/// between the probe's answer and the handshake's, a matter of a millisecond, would be.
/// @param display as in DISPLAY; one on another host is a failed read
[[nodiscard]] std::unique_ptr<IdleSource> x11IdleSource(std::string display);

/// The newest access time of the user's terminals, pts/N and ttyN below the device directory: the
/// kernel sets it, in steps of 8 s, when a program reads what was typed. A terminal that nobody
/// typed at since it was opened counts only where all are such, because agents open terminals for
/// the commands they run.
[[nodiscard]] std::unique_ptr<IdleSource>
terminalsIdleSource(std::filesystem::path devices, std::uint32_t userId,
                    WallClock now = std::chrono::system_clock::now);

/// The user's sessions as logind tells of them on the system bus.
class LoginSessions final : public IdleSource {
  public:
    LoginSessions(std::shared_ptr<IdleBus> systemBus, std::uint32_t userId,
                  WallClock wall = std::chrono::system_clock::now,
                  SteadyClock now = std::chrono::steady_clock::now);

    [[nodiscard]] std::string_view name() const override { return "logind"; }

    /// The newest IdleSinceHint of the user's sessions. For a session at a terminal that is the
    /// terminal's access time, idle or not. For a graphical session it counts only while the
    /// session is idle: many desktops never tell logind, and it then says "not idle" for ever.
    [[nodiscard]] std::optional<std::chrono::milliseconds> read() override;

    /// Whether the user was logged in from another computer when logind last answered; false while
    /// it never did. Asks at most every 10 s, and not for a minute after a failure.
    [[nodiscard]] bool hasRemote();

  private:
    [[nodiscard]] bool refresh();

    std::shared_ptr<IdleBus> m_bus;
    std::uint32_t m_userId;
    WallClock m_wall;
    SteadyClock m_now;
    bool m_hasRemote = false;
    std::optional<std::chrono::system_clock::time_point> m_newest;
    std::optional<std::chrono::steady_clock::time_point> m_refreshNotBefore;
};

} // namespace idle
