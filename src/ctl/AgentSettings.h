#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "ctl/Context.h"
#include "ctl/Finding.h"
#include "platform/AgentProcesses.h"

namespace ctl {

/// "Claude Code" or "Codex"
[[nodiscard]] std::string nameOf(AgentProcess::Agent agent);

/// The file in which we have our hooks.
[[nodiscard]] const std::filesystem::path& hooksFile(const Context& context,
                                                     AgentProcess::Agent agent);
/// How many events have their entry in this file of the agent's. 0 when it is not understood.
[[nodiscard]] int hooksIn(const Context& context, AgentProcess::Agent agent,
                          const std::filesystem::path& file);

/// The variable by which the agent's directory of settings is moved.
[[nodiscard]] const char* directoryVariable(AgentProcess::Agent agent);

/// What is wrong when the agent reads its settings from this directory: nothing if our hooks are
/// in a file there.
/// @param who whose variable says so, as the beginning of a sentence
[[nodiscard]] std::optional<Finding> checkDirectory(const Context& context,
                                                    AgentProcess::Agent agent,
                                                    const std::filesystem::path& directory,
                                                    Finding::Level level, const std::string& who);

} // namespace ctl
