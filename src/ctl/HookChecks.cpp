#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"
#include "ctl/HooksReport.h"
#include "ctl/Shown.h"

namespace fs = std::filesystem;

namespace ctl {

namespace {

using Level = Finding::Level;

constexpr std::string_view install = "tamsellctl hooks install";

// The events without a current entry, as a list.
std::string missingEvents(const JSONObject& file, const std::string& command,
                          std::span<const Hooks::Event> events) {
    std::string names;
    for (const Hooks::Event& event : events) {
        if (Hooks::countInstalled(file, command, std::span(&event, 1)) == 1)
            continue;
        names += names.empty() ? "" : "、";
        names += event.name;
    }
    return names;
}

// One of our commands that is not the current one: the agent runs it as well.
std::optional<std::string> otherCommand(const JSONObject& file, const std::string& command,
                                        std::span<const Hooks::Event> events) {
    for (const Hooks::Event& event : events) {
        for (const std::string& ours : Hooks::ourCommands(file, event.name)) {
            if (ours != command)
                return ours;
        }
    }
    return std::nullopt;
}

Finding checkAgent(const std::string& agent, const fs::path& path, const std::string& command,
                   std::span<const Hooks::Event> events) {
    if (isUnreadable(path))
        return {Level::problem, agent, localized("讀不到 %@", {shown(path)}),
                localized("讓自己可以讀這個檔，再執行 %@", {std::string(install)})};
    try {
        const JSONObject file = Hooks::readAgentFile(path);
        const int count = Hooks::countInstalled(file, command, events);
        const std::string share = shareText(count, events.size());
        // An installation takes out our groups whole.
        const auto unlessShared = [&](const std::string& remedy) {
            return Hooks::hasSharedGroup(file)
                       ? localized("先把與 Tamsell 同一組 hooks 裡你的指令移到別組，再執行 "
                                   "tamsellctl doctor --fix")
                       : remedy;
        };
        if (const auto other = otherCommand(file, command, events);
            other && count == static_cast<int>(events.size()))
            return {Level::problem, agent,
                    localized("還有別的 Tamsell hook：%@", {text::visible(*other)}),
                    unlessShared("tamsellctl doctor --fix"), Mend::hooksAnew};
        if (count == static_cast<int>(events.size()))
            return {Level::good, agent, localized("hooks %@（%@）", {share, shown(path)}), ""};
        if (count == 0)
            return {Level::problem, agent, localized("沒有裝 hooks（%@）", {shown(path)}),
                    unlessShared(std::string(install)), Mend::hooks};
        return {Level::problem, agent,
                localized("hooks %@，少了 %@", {share, missingEvents(file, command, events)}),
                unlessShared(std::string(install)), Mend::hooks};
    } catch (const std::exception& error) {
        return {Level::problem, agent, text::visible(error.what()),
                localized("修正該檔後執行 %@", {std::string(install)})};
    }
}

} // namespace

Findings checkHooks(const Context& context) {
    const Hooks& hooks = context.hooks;
    const Hooks::Status status = hooks.status();
    Findings findings{checkHookProgram(context, status.scriptCurrent)};
    if (status.claude == 0 && !status.error && !hooks.claudeInstalled())
        findings.push_back({Level::notice, "Claude Code", localized("這台電腦上沒有找到"), ""});
    else
        findings.push_back(checkAgent("Claude Code", context.locations.claudeSettings,
                                      hooks.claudeCommand(), Hooks::claudeEvents()));
    std::error_code error;
    if (!fs::is_directory(context.locations.codexHome, error))
        findings.push_back({Level::notice, "Codex", localized("這台電腦上沒有找到"), ""});
    else
        findings.push_back(checkAgent("Codex", context.locations.codexHooks, hooks.codexCommand(),
                                      Hooks::codexEvents()));
    if (status.legacy)
        // Entries that are complete are left alone by an installation.
        findings.push_back({Level::problem, localized("舊版"),
                            localized("agent 的設定裡還有舊版的 hooks"), "tamsellctl doctor --fix",
                            Mend::hooksAnew});
    return findings;
}

} // namespace ctl
