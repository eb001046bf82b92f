#pragma once

#include <optional>

#include "core/ConfigFile.h"
#include "core/JSONValue.h"
#include "ctl/Context.h"
#include "ctl/DaemonClient.h"
#include "ctl/Finding.h"
#include "platform/UserService.h"

/// What a support answer would ask for, looked at one by one. Nothing is changed.
namespace ctl {

/// What the running daemon says of itself.
struct DaemonReport {
    /// Why it cannot be asked; nothing when it can.
    std::optional<Unreachable::Reason> obstacle;
    std::string trouble; ///< the obstacle in words
    std::string address; ///< where the settings say that it is
    double process = 0;
    /// Whether the program's file was replaced or removed since it was started.
    bool isOutdated = false;
    JSONValue snapshot; ///< null when it cannot be asked
    /// What idle time was last read from, "" where nothing answered; nothing when it is not known.
    std::optional<std::string> idleSource;
};

/// Asks it. Never fails.
[[nodiscard]] DaemonReport askDaemon(const Context& context);

/// The data directory and what the program needs of it.
[[nodiscard]] Findings checkDataDirectory(const Locations& locations);
/// config.json and what was kept beside it.
[[nodiscard]] Findings checkConfig(const Locations& locations);
[[nodiscard]] Findings checkDaemon(const DaemonReport& report);
/// The hook program and the entries in the agents' files.
[[nodiscard]] Findings checkHooks(const Context& context);
/// Idle time, relay and phones, as the daemon sees them.
[[nodiscard]] Findings checkSurroundings(const DaemonReport& report);
[[nodiscard]] Findings checkService(const UserService::State& state, const DaemonReport& report);

/// All of them, in this order.
[[nodiscard]] Findings diagnose(const Context& context, const DaemonReport& report);

} // namespace ctl
