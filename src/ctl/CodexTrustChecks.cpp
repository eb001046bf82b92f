#include <optional>
#include <system_error>

#include "core/Localized.h"
#include "ctl/AgentSettings.h"
#include "ctl/Checks.h"
#include "ctl/CodexAnswer.h"
#include "hooks/CodexTrust.h"

namespace ctl {

namespace {

using Level = Finding::Level;

std::string subject() {
    return localized("Codex 信任");
}

} // namespace

Finding codexTrustFinding(const std::optional<Hooks::CodexTrust>& trust) {
    if (!trust)
        return {Level::notice, subject(), localized("Codex 沒有回答，無法得知它是否信任 hooks"),
                localized("在 Codex 輸入 /hooks 查看")};
    const auto count = [](int number) { return static_cast<double>(number); };
    if (trust->total == 0)
        return {Level::problem, subject(), localized("Codex 沒有列出 Tamsell 的 hooks"),
                localized("重新開啟 Codex，輸入 /hooks 查看")};
    if (trust->usable == trust->total)
        return {Level::good, subject(), localized("%lld 個 hooks 都信任", {count(trust->total)}),
                ""};
    std::string reasons;
    const auto add = [&](const char* reason, int number) {
        if (number > 0)
            reasons += (reasons.empty() ? "" : "、") + localized(reason, {count(number)});
    };
    add("%lld 個還沒信任", trust->total - trust->usable - trust->modified - trust->disabled);
    add("%lld 個在信任之後改過", trust->modified);
    add("%lld 個被關掉", trust->disabled);
    return {
        Level::problem, subject(),
        localized("%lld 個 hooks 只會執行 %lld 個：", {count(trust->total), count(trust->usable)}) +
            reasons,
        trust->disabled > 0 ? localized("開啟 Codex，輸入 /hooks，打開並信任它們")
                            : localized("開啟 Codex，輸入 /hooks 信任它們")};
}

Findings checkCodexTrust(const Context& context) {
    std::error_code error;
    if (!std::filesystem::is_directory(context.locations.codexHome, error) ||
        hooksIn(context, AgentProcess::Agent::codex, context.locations.codexHooks) == 0)
        return {};
    const auto codex = findCodex(context.environment, context.locations.home);
    if (!codex)
        return {{Level::notice, subject(),
                 localized("找不到 codex 這個程式，無法得知它是否信任 hooks"),
                 localized("在 Codex 輸入 /hooks 查看")}};
    return {codexTrustFinding(askCodex(context, *codex))};
}

} // namespace ctl
