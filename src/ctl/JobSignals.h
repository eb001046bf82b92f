#pragma once

#include <array>
#include <chrono>
#include <csignal>
#include <optional>
#include <span>

#include <poll.h>

namespace ctl {

/// The signals of job control and of a terminal's new size: SIGTSTP, SIGCONT and SIGWINCH. They are
/// let in only while this program waits, so that none is missed between a look and the wait. Those
/// that were ignored stay so. One object at a time; the destructor puts back what was.
class JobSignals {
  public:
    using Clock = std::chrono::steady_clock;

    JobSignals();
    ~JobSignals();
    JobSignals(const JobSignals&) = delete;
    JobSignals& operator=(const JobSignals&) = delete;

    /// Waits for one of the descriptors, a signal, or the time.
    /// @return the signal, or 0; with a signal no descriptor counts as ready
    [[nodiscard]] int wait(std::span<pollfd> descriptors,
                           std::optional<Clock::time_point> until) const;

    /// Stops the program as SIGTSTP would, and returns when it goes on. Where nobody could continue
    /// it, the system does not stop it.
    void stop() const;

  private:
    static constexpr std::array handled{SIGTSTP, SIGCONT, SIGWINCH};

    sigset_t m_before{};
    std::array<struct sigaction, handled.size()> m_actions{};
};

} // namespace ctl
