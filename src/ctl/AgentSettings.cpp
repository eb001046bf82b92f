#include "ctl/AgentSettings.h"

#include <system_error>

#include "core/Localized.h"
#include "ctl/Shown.h"

namespace fs = std::filesystem;

namespace ctl {

namespace {

using Agent = AgentProcess::Agent;

bool isSamePlace(const fs::path& left, const fs::path& right) {
    std::error_code error;
    return fs::weakly_canonical(left, error) == fs::weakly_canonical(right, error);
}

} // namespace

std::string nameOf(Agent agent) {
    return agent == Agent::claude ? "Claude Code" : "Codex";
}

const fs::path& hooksFile(const Context& context, Agent agent) {
    return agent == Agent::claude ? context.locations.claudeSettings : context.locations.codexHooks;
}

int hooksIn(const Context& context, Agent agent, const fs::path& file) {
    try {
        const JSONObject content = Hooks::readAgentFile(file);
        return agent == Agent::claude
                   ? Hooks::countInstalled(content, context.hooks.claudeCommand(),
                                           Hooks::claudeEvents())
                   : Hooks::countInstalled(content, context.hooks.codexCommand(),
                                           Hooks::codexEvents());
    } catch (const std::exception&) {
        return 0;
    }
}

const char* directoryVariable(Agent agent) {
    return agent == Agent::claude ? "CLAUDE_CONFIG_DIR" : "CODEX_HOME";
}

std::optional<Finding> checkDirectory(const Context& context, Agent agent,
                                      const fs::path& directory, Finding::Level level,
                                      const std::string& who) {
    const bool isClaude = agent == Agent::claude;
    const fs::path file = directory / (isClaude ? "settings.json" : "hooks.json");
    const auto all = isClaude ? Hooks::claudeEvents().size() : Hooks::codexEvents().size();
    const fs::path& ours = hooksFile(context, agent);
    if (isSamePlace(file, ours.parent_path() / file.filename()) ||
        hooksIn(context, agent, file) == static_cast<int>(all))
        return std::nullopt;
    const std::string variable =
        isClaude ? "TAMSELL_CLAUDE_SETTINGS=" + inShell(file) : "CODEX_HOME=" + inShell(directory);
    return Finding{
        level, nameOf(agent),
        localized("%@的 %@ 是 %@，那裡讀的是 %@，不是 %@",
                  {who, directoryVariable(agent), shown(directory), shown(file), shown(ours)}),
        localized("%@ tamsellctl hooks install，Tamsell 也要以同一個變數啟動", {variable})};
}

} // namespace ctl
