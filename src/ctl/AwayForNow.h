#pragma once

#include <csignal>
#include <optional>
#include <vector>

#include "core/Config.h"
#include "ctl/DaemonClient.h"

namespace ctl {

/// Has the daemon hold questions while this lives, as if the user were away: switches the mode to
/// "on" where it has to, and back again at the end, unless somebody has chosen another one
/// meanwhile.
///
/// Until then a signal that would end this program is only noted. One object at a time.
class AwayForNow {
  public:
    /// @throws DaemonError
    explicit AwayForNow(const DaemonClient& daemon);
    /// Says on standard error when the mode could not be put back.
    ~AwayForNow();
    AwayForNow(const AwayForNow&) = delete;
    AwayForNow& operator=(const AwayForNow&) = delete;

    /// The mode that is put back; nothing when the user was away already.
    [[nodiscard]] std::optional<AwayMode> before() const { return m_before; }
    /// Whether a signal asked this program to end.
    [[nodiscard]] static bool wasInterrupted();

  private:
    const DaemonClient& m_daemon;
    std::optional<AwayMode> m_before;
    std::vector<struct sigaction> m_actions; // in the order of the signals
};

} // namespace ctl
