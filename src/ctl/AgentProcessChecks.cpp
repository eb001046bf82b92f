#include <chrono>
#include <optional>
#include <set>
#include <string>

#include <sys/stat.h>

#include "core/Localized.h"
#include "ctl/AgentSettings.h"
#include "ctl/Checks.h"
#include "platform/ProcessVariable.h"

namespace fs = std::filesystem;

namespace ctl {

namespace {

using Agent = AgentProcess::Agent;
using Clock = std::chrono::system_clock;
using Level = Finding::Level;

// The start of a process is known less exactly than the date of a file.
constexpr std::chrono::seconds grace{1};

std::optional<Clock::time_point> modified(const fs::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    const auto since1970 = std::chrono::seconds(status.st_mtim.tv_sec) +
                           std::chrono::nanoseconds(status.st_mtim.tv_nsec);
    return Clock::time_point(std::chrono::duration_cast<Clock::duration>(since1970));
}

// Agents read their hooks when they start.
std::optional<Finding> olderOnes(const Context& context, Agent agent,
                                 const std::vector<AgentProcess>& running) {
    const fs::path& file = hooksFile(context, agent);
    const auto date = modified(file);
    if (!date || hooksIn(context, agent, file) == 0)
        return std::nullopt;
    std::string older;
    for (const AgentProcess& one : running) {
        if (one.agent == agent && one.started + grace < *date)
            older += (older.empty() ? "" : "、") + std::to_string(one.process);
    }
    if (older.empty())
        return std::nullopt;
    return Finding{Level::notice, nameOf(agent),
                   localized("執行中的（PID %@）可能在 hooks 裝好之前就啟動了", {older}),
                   localized("重新開啟它")};
}

} // namespace

Findings checkAgentProcesses(const Context& context, const std::vector<AgentProcess>& running,
                             const fs::path& procDirectory) {
    Findings findings;
    for (const Agent agent : {Agent::claude, Agent::codex}) {
        if (auto older = olderOnes(context, agent, running))
            findings.push_back(std::move(*older));
    }
    // That of this program's own environment is a problem of its own.
    std::set<fs::path> said{
        context.environment(directoryVariable(Agent::claude)).value_or(std::string())};
    for (const AgentProcess& one : running) {
        const auto moved =
            processVariable(one.process, directoryVariable(one.agent), procDirectory);
        // A relative one counts from where it was started, which is not known.
        if (!moved || !fs::path(*moved).is_absolute() || !said.insert(*moved).second)
            continue;
        if (auto finding =
                checkDirectory(context, one.agent, *moved, Level::notice,
                               localized("執行中的（PID %@）", {std::to_string(one.process)})))
            findings.push_back(std::move(*finding));
    }
    return findings;
}

} // namespace ctl
