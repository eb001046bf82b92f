#include "platform/AgentProcesses.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "core/File.h"
#include "platform/ProcessFiles.h"

namespace fs = std::filesystem;

namespace {

using Agent = AgentProcess::Agent;
using Clock = std::chrono::system_clock;

constexpr std::array<std::string_view, 4> interpreters{"node", "nodejs", "bun", "deno"};
constexpr std::array<std::string_view, 3> scriptEndings{".js", ".mjs", ".cjs"};

struct Candidate {
    AgentProcess process;
    pid_t parent = 0;
};

std::optional<Agent> agentNamed(std::string_view program) {
    std::string_view name = processfiles::programName(program);
    for (const std::string_view ending : scriptEndings) {
        if (name.ends_with(ending))
            name.remove_suffix(ending.size());
    }
    if (name == "claude" || program.find("/claude-code/") != std::string_view::npos)
        return Agent::claude;
    return name == "codex" ? std::optional(Agent::codex) : std::nullopt;
}

std::optional<Agent> agentIn(const processfiles::Arguments& arguments) {
    if (arguments.empty())
        return std::nullopt;
    auto program = arguments.begin();
    const auto name = processfiles::programName(*program);
    if (std::ranges::find(interpreters, name) != interpreters.end()) {
        program = std::find_if(program + 1, arguments.end(), [](std::string_view argument) {
            return !argument.starts_with('-');
        });
        if (program == arguments.end())
            return std::nullopt;
    }
    const auto agent = agentNamed(*program);
    if (agent == Agent::codex &&
        std::find(program, arguments.end(), "app-server") != arguments.end())
        return std::nullopt;
    return agent;
}

// A process's start counts from that of the system, on the clock that goes on during suspend.
Clock::time_point momentOf(std::uint64_t ticks) {
    timespec sinceStart{};
    ::clock_gettime(CLOCK_BOOTTIME, &sinceStart);
    const auto now =
        std::chrono::seconds(sinceStart.tv_sec) + std::chrono::nanoseconds(sinceStart.tv_nsec);
    const auto tick =
        std::chrono::duration<double>(1.0 / static_cast<double>(::sysconf(_SC_CLK_TCK)));
    const auto started =
        std::chrono::duration_cast<Clock::duration>(static_cast<double>(ticks) * tick);
    return Clock::now() - std::chrono::duration_cast<Clock::duration>(now) + started;
}

std::optional<Candidate> candidateIn(const fs::path& directory, pid_t process) {
    struct stat status {};
    if (::stat(directory.c_str(), &status) != 0 || status.st_uid != ::getuid())
        return std::nullopt;
    const auto cmdline =
        file::readStart((directory / "cmdline").string(), processfiles::maximumArguments);
    const auto agent =
        cmdline ? agentIn(processfiles::arguments(*cmdline)) : std::optional<Agent>();
    if (!agent)
        return std::nullopt;
    const auto text = file::readStart((directory / "stat").string(), processfiles::maximumStat);
    const auto stat = text ? processfiles::stat(*text) : std::nullopt;
    if (!stat)
        return std::nullopt;
    return Candidate{{*agent, process, momentOf(stat->started)}, stat->parent};
}

} // namespace

std::vector<AgentProcess> runningAgents(const fs::path& procDirectory) {
    std::map<pid_t, Candidate> candidates;
    std::error_code error;
    for (fs::directory_iterator entry(procDirectory, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        pid_t process = 0;
        const auto result = std::from_chars(name.data(), name.data() + name.size(), process);
        if (result.ec != std::errc() || result.ptr != name.data() + name.size())
            continue;
        if (const auto candidate = candidateIn(entry->path(), process))
            candidates.emplace(process, *candidate);
    }
    std::vector<AgentProcess> agents;
    for (const auto& [process, candidate] : candidates) {
        const auto parent = candidates.find(candidate.parent);
        if (parent == candidates.end() || parent->second.process.agent != candidate.process.agent)
            agents.push_back(candidate.process);
    }
    return agents;
}
