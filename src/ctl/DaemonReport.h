#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

#include "core/JSONValue.h"
#include "ctl/Context.h"
#include "ctl/DaemonClient.h"

namespace ctl {

/// What the running daemon says of itself.
struct DaemonReport {
    /// Why it cannot be asked; nothing when it can.
    std::optional<Unreachable::Reason> obstacle;
    std::string trouble; ///< the obstacle in words
    std::string address; ///< where the settings say that it is
    std::optional<pid_t> process;
    /// Whether the program's file was replaced or removed since it was started.
    bool isOutdated = false;
    /// Where it listens instead: its settings were changed since it was started.
    std::optional<std::string> elsewhere;
    JSONValue snapshot; ///< null when it cannot be asked
    /// What idle time was last read from, "" where nothing answered; nothing when it is not known.
    std::optional<std::string> idleSource;
    /// What it has noticed: an object from the kind of trouble to {"since": milliseconds since
    /// 1970, and details}. Null or empty when there is nothing, or it is not known.
    JSONValue troubles;
};

/// Asks it. Never fails.
[[nodiscard]] DaemonReport askDaemon(const Context& context);

} // namespace ctl
