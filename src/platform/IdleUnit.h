#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

/// Finds out whether a service counts idle time in milliseconds or in seconds.
///
/// The draft of org.freedesktop.ScreenSaver says seconds, KDE counts milliseconds, and the number
/// alone does not tell. How it grows does: while nobody types, by a thousand a second or by one.
/// Milliseconds are assumed until ten seconds of growth by one a second are seen, which typing
/// cannot bring about in a count of milliseconds; growth that seconds cannot have turns it back.
/// The assumption errs towards "just now", and only for the first ten seconds of idleness.
class IdleUnit {
  public:
    /// @param count what the service said at the time `now`
    [[nodiscard]] std::chrono::milliseconds duration(std::uint64_t count,
                                                     std::chrono::steady_clock::time_point now);

  private:
    struct Reading {
        std::uint64_t count;
        std::chrono::steady_clock::time_point at;
    };

    void learn(const Reading& reading);

    bool m_countsSeconds = false;
    /// Where a run of readings began that all fit a count of seconds, and its newest one.
    std::optional<Reading> m_first;
    std::optional<Reading> m_last;
    int m_readings = 0;
};
