#include "ctl/HooksReport.h"

#include <cerrno>
#include <optional>

#include <unistd.h>

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Output.h"

namespace ctl {

JSONValue hooksJSON(const Hooks::Status& status) {
    // The name of a file may be any bytes.
    const auto error = status.error ? std::optional(text::repaired(*status.error)) : std::nullopt;
    return JSONObject{{"claude", status.claude},
                      {"codex", status.codex ? JSONValue(*status.codex) : JSONValue()},
                      {"scriptCurrent", status.scriptCurrent},
                      {"legacy", status.legacy},
                      {"error", output::orNull(error)}};
}

bool isUnreadable(const std::filesystem::path& path) {
    return ::access(path.c_str(), R_OK) != 0 && errno != ENOENT && errno != ENOTDIR;
}

std::string shareText(int count, std::size_t all) {
    return std::to_string(count) + "/" + std::to_string(all);
}

std::string hooksText(const Hooks::Status& status) {
    const std::string claude = shareText(status.claude, Hooks::claudeEvents().size());
    std::string text =
        status.codex ? localized("Claude Code %@、Codex %@",
                                 {claude, shareText(*status.codex, Hooks::codexEvents().size())})
                     : localized("Claude Code %@、沒有 Codex", {claude});
    if (!status.scriptCurrent)
        text += localized("；hook 程式不是最新的");
    if (status.legacy)
        text += localized("；還有舊版的 hooks");
    if (status.error)
        text += localized("；%@", {text::visible(*status.error)});
    return text;
}

} // namespace ctl
