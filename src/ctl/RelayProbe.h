#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "core/DaemonError.h"
#include "ctl/RelayAddress.h"

namespace ctl {

/// What stands in the way to a relay.
class RelayUnreachable final : public DaemonError {
  public:
    RelayUnreachable(const std::string& message, std::string remedy)
        : DaemonError(message), m_remedy(std::move(remedy)) {}

    [[nodiscard]] const std::string& remedy() const { return m_remedy; }

  private:
    std::string m_remedy;
};

/// How a relay answered.
struct RelayReply {
    int status = 0; ///< of HTTP
    /// How far this computer's clock is ahead of the relay's; behind it when negative. Nothing when
    /// it did not say what time it is. To the second.
    std::optional<std::chrono::seconds> clockAhead;
    std::chrono::microseconds took{0}; ///< all of it, from the look-up of the name
};

/// Goes the way to a relay, step by step: name, connection, certificate, a request. No step takes
/// longer than five seconds, but for three seconds for each further address of the name.
///
/// The request is for the place where computers connect, but without their token and without
/// becoming a WebSocket: a second connection with the token would take the place of the daemon's.
/// So it shows that the relay can be reached; whether it accepts this computer the daemon knows.
///
/// @param channel of the settings
/// @param trustedFile see `TLSConnection`
/// @throws RelayUnreachable
[[nodiscard]] RelayReply probeRelay(const RelayAddress& address, const std::string& channel,
                                    const std::string& trustedFile);

} // namespace ctl
