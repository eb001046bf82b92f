#pragma once

#include "ctl/Context.h"
#include "ctl/DaemonReport.h"
#include "ctl/Finding.h"
#include "platform/UserService.h"

/// What a support answer would ask for, looked at one by one. Nothing is changed.
namespace ctl {

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

/// The way to the relay, gone step by step, and the clocks at both ends. Takes seconds where it is
/// blocked. Nothing without relay settings.
[[nodiscard]] Findings checkRelayPath(const Context& context, const DaemonReport& report);

/// All of them but `checkRelayPath`, in this order.
[[nodiscard]] Findings diagnose(const Context& context, const DaemonReport& report);

} // namespace ctl
