// The commands that install hooks, remove them, and say how they are.

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Commands.h"
#include "ctl/HooksJSON.h"
#include "ctl/Output.h"

namespace ctl {

namespace {

std::string share(int count, std::size_t all) {
    return std::to_string(count) + "/" + std::to_string(all);
}

} // namespace

JSONValue hooksJSON(const Hooks::Status& status) {
    return JSONObject{{"claude", status.claude},
                      {"codex", status.codex ? JSONValue(*status.codex) : JSONValue()},
                      {"scriptCurrent", status.scriptCurrent},
                      {"legacy", status.legacy},
                      {"error", status.error ? JSONValue(*status.error) : JSONValue()}};
}

std::string hooksText(const Hooks::Status& status) {
    std::string text = "Claude Code " + share(status.claude, Hooks::claudeEvents().size());
    text += status.codex ? "、Codex " + share(*status.codex, Hooks::codexEvents().size())
                         : localized("、沒有 Codex");
    if (!status.scriptCurrent)
        text += localized("；hook 程式不是最新的");
    if (status.legacy)
        text += localized("；還有舊版的 hooks");
    if (status.error)
        text += localized("；%@", {text::visible(*status.error)});
    return text;
}

int hooksStatus(const Context& context, const Arguments& arguments) {
    const Hooks::Status status = context.hooks.status();
    if (arguments.json)
        output::writeJSON(hooksJSON(status));
    else
        output::write(hooksText(status) + "\n");
    return 0;
}

int hooksInstall(const Context& context, const Arguments& /*arguments*/) {
    context.hooks.install();
    output::write(localized("已安裝：%@", {hooksText(context.hooks.status())}) + "\n");
    return 0;
}

int hooksRemove(const Context& context, const Arguments& /*arguments*/) {
    context.hooks.removeEntries();
    output::write(localized("已移除：%@", {hooksText(context.hooks.status())}) + "\n");
    return 0;
}

} // namespace ctl
