// The command that says whether Codex runs our hooks.

#include "core/Localized.h"
#include "ctl/CodexAnswer.h"
#include "ctl/Commands.h"
#include "ctl/HooksReport.h"
#include "ctl/Output.h"
#include "hooks/CodexTrust.h"

namespace ctl {

namespace {

std::string trustText(const Hooks::CodexTrust& trust) {
    std::string text = localized("Codex 信任 %@",
                                 {shareText(trust.usable, static_cast<std::size_t>(trust.total))});
    if (trust.modified > 0)
        text += localized("；%lld 個在信任之後改過", {static_cast<double>(trust.modified)});
    if (trust.disabled > 0)
        text += localized("；%lld 個被關掉", {static_cast<double>(trust.disabled)});
    if (trust.total == 0)
        return text +
               localized("\nCodex 沒有列出 Tamsell 的 hooks：先執行 tamsellctl hooks install，"
                         "再開啟 Codex，輸入 /hooks 信任它們。");
    if (trust.usable < trust.total)
        return text + localized("\n在 Codex 裡輸入 /hooks，信任 Tamsell 的 hooks。"
                                "這一步必須由你確認。");
    return text;
}

} // namespace

int hooksTrust(const Context& context, const Arguments& arguments) {
    const auto codex = findCodex(context.environment, context.locations.home);
    const auto trust = codex ? askCodex(context, *codex) : std::nullopt;
    if (arguments.json) {
        output::writeJSON(
            trust ? JSONValue(JSONObject{{"usable", trust->usable}, {"total", trust->total}})
                  : JSONValue());
        return 0;
    }
    if (trust)
        output::write(trustText(*trust) + "\n");
    else if (codex)
        output::write(localized("無法得知 Codex 是否信任 hooks：它沒有回答。"
                                "在 Codex 裡輸入 /hooks 查看。") +
                      "\n");
    else
        output::write(localized("無法得知 Codex 是否信任 hooks：找不到 codex 這個程式。"
                                "在 Codex 裡輸入 /hooks 查看。") +
                      "\n");
    return 0;
}

} // namespace ctl
