#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "ctl/Context.h"
#include "ctl/DaemonReport.h"
#include "ctl/Finding.h"
#include "platform/AgentProcesses.h"
#include "platform/UserService.h"

/// What a support answer would ask for, looked at one by one. Nothing is changed.
namespace ctl {

/// The data directory, what the program needs of it, and the size of the events log.
[[nodiscard]] Findings checkDataDirectory(const Locations& locations);
/// config.json and what was kept beside it.
[[nodiscard]] Findings checkConfig(const Locations& locations);
[[nodiscard]] Findings checkDaemon(const DaemonReport& report);
/// The hook program and the entries in the agents' files.
[[nodiscard]] Findings checkHooks(const Context& context);
/// The hook program alone, without running it.
/// @param isCurrent whether it has the bytes of the one that came with this program
[[nodiscard]] Finding checkHookProgram(const Context& context, bool isCurrent);
/// Whether the agents wait for the hook as long as the settings let a question wait.
[[nodiscard]] Findings checkHookTimeouts(const Context& context);
/// Claude Code's settings by which no hook runs, or that are another file than ours: the user's,
/// those that CLAUDE_CONFIG_DIR names here, and the administrator's.
/// @param managed the administrator's file, which comes before the user's
[[nodiscard]] Findings
checkAgentSettings(const Context& context,
                   const std::filesystem::path& managed = "/etc/claude-code/managed-settings.json");
/// Idle time, relay and phones, as the daemon sees them.
[[nodiscard]] Findings checkSurroundings(const DaemonReport& report);
/// The HTTP status with which the relay refuses the daemon, as far as it is known.
[[nodiscard]] std::optional<double> relayRefusal(const DaemonReport& report);
/// What the daemon has noticed by itself and is not about the relay.
[[nodiscard]] Findings checkTroubles(const DaemonReport& report);
[[nodiscard]] Findings checkService(const UserService::State& state, const DaemonReport& report);

/// The way to the relay, gone step by step, and the clocks at both ends. Takes seconds where it is
/// blocked. Nothing without relay settings.
[[nodiscard]] Findings checkRelayPath(const Context& context, const DaemonReport& report);

/// Runs the installed hook on an empty event, with settings by which it reaches no daemon. Up to
/// five seconds. Nothing where it cannot be run, which `checkHookProgram` says.
[[nodiscard]] Findings checkHookRun(const Context& context);

/// Agents that were started before their hooks were installed, or with settings in another place.
[[nodiscard]] Findings checkAgentProcesses(const Context& context,
                                           const std::vector<AgentProcess>& running,
                                           const std::filesystem::path& procDirectory = "/proc");

/// Whether Codex would run the hooks that are installed in it: asks it, which takes up to eight
/// seconds. Nothing without Codex or without hooks in it.
[[nodiscard]] Findings checkCodexTrust(const Context& context);
/// The same of its answer; nothing where it could not be told.
[[nodiscard]] Finding codexTrustFinding(const std::optional<Hooks::CodexTrust>& trust);

/// Those above that take no time, each thing said once.
[[nodiscard]] Findings diagnose(const Context& context, const DaemonReport& report);

} // namespace ctl
