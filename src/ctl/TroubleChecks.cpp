#include <algorithm>
#include <string>

#include "core/Clock.h"
#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"
#include "ctl/Duration.h"

namespace ctl {

namespace {

using Level = Finding::Level;

std::string sinceText(const JSONValue& trouble) {
    const double now = wallclock::milliseconds();
    return durationText(std::max(0.0, now - json::numberOf(trouble, "since", now)) / 1000);
}

std::string agentName(const std::string& name) {
    if (name == "claude")
        return "Claude Code";
    return name == "codex" ? "Codex" : text::visible(name);
}

// The texts of an array, as a list.
template <typename Show>
std::string listOf(const JSONValue& trouble, std::string_view key, Show show) {
    std::string list;
    for (const JSONValue& one : json::arrayOf(trouble, key)) {
        if (const std::string* name = one.string())
            list += (list.empty() ? "" : "、") + show(*name);
    }
    return list;
}

} // namespace

Findings checkTroubles(const DaemonReport& report) {
    Findings findings;
    const JSONValue& silence = json::member(report.troubles, "hookSilence");
    if (silence.object())
        findings.push_back({Level::problem, "hooks",
                            localized("%@ 在執行，但 %@以來沒有收到任何 hook 事件",
                                      {listOf(silence, "agents", agentName), sinceText(silence)}),
                            localized("重新開啟 agent；還是一樣就用 tamsellctl test 找原因")});
    const JSONValue& stuck = json::member(report.troubles, "stuckIdleSource");
    if (stuck.object())
        findings.push_back(
            {Level::problem, localized("閒置時間"),
             localized("來源 %@ 在 %@前卡住了，所以不採用它",
                       {listOf(stuck, "sources",
                               [](const std::string& name) { return text::visible(name); }),
                        sinceText(stuck)}),
             localized("「自動」判斷錯時，離開前用 tamsellctl mode on")});
    const JSONValue& log = json::member(report.troubles, "eventsLog");
    if (log.object()) {
        const std::string* error = json::textOf(log, "error");
        findings.push_back({Level::problem, localized("事件紀錄"),
                            localized("從 %@前開始寫不進去：%@",
                                      {sinceText(log), error ? text::visible(*error) : "?"}),
                            localized("清出空間，或讓自己可以寫入 logs")});
    }
    return findings;
}

} // namespace ctl
