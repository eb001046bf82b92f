#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "platform/Endpoint.h"

namespace hook {

/// Whether the daemon may hold the request until a person answers.
enum class Hold { never, perhaps };

/// What is to be said to the daemon, and how.
struct Call {
    std::vector<Endpoint> candidates; ///< tried in order
    uid_t owner = 0;                  ///< nobody else may hear it
    /// The head of the request for the endpoint that was reached.
    std::function<std::string(const Endpoint&)> head;
    std::string_view body;
    Hold hold = Hold::perhaps;
    /// Where the reply will be written, or -1. A request that may be held is given up when nobody
    /// reads there any more, so that an agent that ended takes its question with it.
    int output = -1;
};

/// Sends the request over a connection of its own and gives the body of the reply, which may be
/// empty.
///
/// Nothing when no daemon of that owner is there, when it answers other than 200 or breaks off,
/// when connecting takes more than 2 seconds, or when a request that is never held takes more than
/// 2 seconds from then: a daemon that has stopped must not stall the agent. One that may be held is
/// waited for without end.
[[nodiscard]] std::optional<std::string> exchange(const Call& call);

} // namespace hook
