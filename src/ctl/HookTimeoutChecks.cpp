#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "core/Decimal.h"
#include "core/JSONMember.h"
#include "core/Localized.h"
#include "ctl/Checks.h"

namespace ctl {

namespace {

using Level = Finding::Level;

// An event on which an answer is waited for, and the setting that says how long.
struct Wait {
    std::string_view event;
    std::string_view key;
};
constexpr std::array waits{Wait{"PermissionRequest", "permissionWait"}, Wait{"Stop", "stopWait"}};

std::string secondsText(double seconds) {
    std::string digits;
    decimal::append(digits, seconds);
    return digits;
}

// After how many seconds the agent gives the command up: the longest of its entries.
std::optional<double> timeoutIn(const JSONObject& file, std::string_view event,
                                std::string_view command) {
    std::optional<double> longest;
    const JSONValue* hooks = file.find("hooks");
    if (!hooks)
        return std::nullopt;
    for (const JSONValue& group : json::arrayOf(*hooks, event)) {
        for (const JSONValue& entry : json::arrayOf(group, "hooks")) {
            const std::string* text = json::textOf(entry, "command");
            const auto seconds = json::member(entry, "timeout").number();
            if (text && *text == command && seconds)
                longest = std::max(*seconds, longest.value_or(*seconds));
        }
    }
    return longest;
}

double ownTimeout(std::string_view event) {
    const auto events = Hooks::claudeEvents();
    return std::ranges::find(events, event, &Hooks::Event::name)->timeout;
}

void checkAgent(Findings& findings, const Context& context, const std::string& agent,
                const std::filesystem::path& path, const std::string& command) {
    try {
        const JSONObject file = Hooks::readAgentFile(path);
        const Config config = context.config();
        for (const auto& [event, key] : waits) {
            const auto timeout = timeoutIn(file, event, command);
            const double wait = config.number(key);
            // A wait beyond our own timeouts is the settings' fault.
            if (!timeout || *timeout >= std::min(wait, ownTimeout(event)))
                continue;
            findings.push_back({Level::problem, agent,
                                localized("%@ 的 hook 在 %@ 秒後逾時，比 %@ 的 %@ 秒短",
                                          {std::string(event), secondsText(*timeout),
                                           std::string(key), secondsText(wait)}),
                                "tamsellctl hooks install", Mend::hooks});
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): that is said of the hooks
    }
}

} // namespace

Findings checkHookTimeouts(const Context& context) {
    Findings findings;
    checkAgent(findings, context, "Claude Code", context.locations.claudeSettings,
               context.hooks.claudeCommand());
    checkAgent(findings, context, "Codex", context.locations.codexHooks,
               context.hooks.codexCommand());
    const Config config = context.config();
    for (const auto& [event, key] : waits) {
        const double wait = config.number(key);
        const std::string most = secondsText(ownTimeout(event));
        if (wait > ownTimeout(event))
            findings.push_back(
                {Level::problem, localized("設定檔"),
                 localized("%@ 是 %@ 秒，但 agent 最多等 hook %@ 秒",
                           {std::string(key), secondsText(wait), most}),
                 localized("把 config.json 的 %@ 改成 %@ 以下", {std::string(key), most})});
    }
    return findings;
}

} // namespace ctl
