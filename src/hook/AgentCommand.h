#pragma once

#include <cstddef>
#include <span>
#include <string>

#include <sys/types.h>

namespace hook {

/// A longer command line is cut: the daemon looks for an agent's name, not for its arguments.
inline constexpr std::size_t maximumCommandLine = std::size_t{8} << 10;

/// The command line of the agent that runs this program, its arguments joined by single spaces and
/// cut to `maximumCommandLine` bytes. Empty when the system does not show it.
///
/// That is the nearest ancestor which is not merely the shell through which the agent started
/// us: a shell whose arguments are flags with -c among them and one text that holds our path. Up
/// to four such shells are passed over, since some of them start the command as a child of theirs
/// instead of becoming it.
///
/// @param procDirectory /proc
/// @param parent the process to begin with
/// @param ownPaths how this program may be written in a shell's text; empty ones are ignored
[[nodiscard]] std::string agentCommandLine(const std::string& procDirectory, pid_t parent,
                                           std::span<const std::string> ownPaths);

} // namespace hook
