#pragma once

#include <chrono>
#include <filesystem>
#include <vector>

#include <sys/types.h>

/// A running coding agent of this user.
struct AgentProcess {
    enum class Agent { claude, codex };

    Agent agent = Agent::claude;
    pid_t process = 0;
    /// To a hundredth of a second. A clock that was set since is not made up for.
    std::chrono::system_clock::time_point started;
};

/// Those that run now, by process id; a wrapper and the program that it runs are one. An agent is
/// known by the name of its program, or of the script that an interpreter runs: "claude", "codex",
/// or something in a directory "claude-code". A Codex in its application-server mode is left out:
/// nobody sits in front of it.
///
/// Reads two files for each process of this user; a process that ends meanwhile is left out.
/// @param procDirectory the system's proc(5)
[[nodiscard]] std::vector<AgentProcess>
runningAgents(const std::filesystem::path& procDirectory = "/proc");
