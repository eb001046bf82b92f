#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "ctl/RelayAddress.h"
#include "ctl/RelayUnreachable.h"

namespace ctl {

/// How a relay answered.
struct RelayReply {
    int status = 0; ///< of HTTP
    /// How far this computer's clock is ahead of the relay's; behind it when negative. Nothing when
    /// it did not say what time it is. To the second.
    std::optional<std::chrono::seconds> clockAhead;
    std::chrono::microseconds took{0}; ///< all of it, from the look-up of the name
};

/// Goes the way to a relay, step by step: name, connection, certificate (see `RelaySocket`), and a
/// request, whose reply has five seconds to come.
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
