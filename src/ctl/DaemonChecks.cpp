#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"
#include "ctl/Duration.h"
#include "ctl/Presence.h"

namespace ctl {

namespace {

using Level = Finding::Level;
using Reason = Unreachable::Reason;

constexpr int unauthorized = 401;
constexpr int forbidden = 403;

std::string remedyFor(Reason reason) {
    switch (reason) {
    case Reason::notRunning:
        return localized("tamsellctl service install，或自己執行 tamsell --headless");
    case Reason::notAnswering:
        return localized("結束那個程式；如果是 Tamsell，重新啟動它");
    case Reason::anotherUser:
    case Reason::anotherProgram:
        return localized("結束那個程式，或在 config.json 換一個 port，再重新啟動 Tamsell");
    case Reason::noAddress:
        return localized("把 config.json 的 host 改成 127.0.0.1、port 改成 8787");
    case Reason::token:
        return localized("確認 TAMSELL_HOME 與執行中的 Tamsell 相同，再重新啟動它");
    }
    return {};
}

// The relay is there, and answers the daemon with this.
Finding refusalFinding(const std::string& subject, double status) {
    const std::string found = localized("中繼拒絕這台電腦（HTTP %lld），手機收不到問題", {status});
    if (status == unauthorized || status == forbidden)
        return {Level::problem, subject, found,
                localized("請中繼的管理者確認，或用 tamsellctl relay set URL 換上新的金鑰")};
    return {Level::problem, subject, found,
            localized("檢查中繼網址，用 tamsellctl relay set URL 改正")};
}

} // namespace

Findings checkDaemon(const DaemonReport& report) {
    const std::string subject = "Tamsell";
    if (report.elsewhere)
        return {{Level::problem, subject,
                 localized("還在 %@ 執行，設定檔已經改成 %@", {*report.elsewhere, report.address}),
                 localized("重新啟動 Tamsell")}};
    if (report.obstacle)
        return {{Level::problem, subject,
                 *report.obstacle == Reason::notRunning
                     ? localized("沒有在執行（%@ 沒有程式在監聽）", {report.address})
                     : text::visible(report.trouble),
                 remedyFor(*report.obstacle)}};
    const std::string process = report.process ? std::to_string(*report.process) : "?";
    if (report.isOutdated)
        return {{Level::problem, subject,
                 localized("程式已經更新，執行中的還是舊的（PID %@）", {process}),
                 localized("重新啟動 Tamsell")}};
    return {
        {Level::good, subject, localized("執行中（PID %@，%@）", {process, report.address}), ""}};
}

std::optional<double> relayRefusal(const DaemonReport& report) {
    if (json::isTrue(json::member(report.snapshot, "relay"), "connected"))
        return std::nullopt;
    const JSONValue& refusal = json::member(report.troubles, "relayRefusal");
    return json::member(refusal, "status").number();
}

Findings checkSurroundings(const DaemonReport& report) {
    if (report.obstacle)
        return {};
    Findings findings;
    const Presence presence = Presence::in(report.snapshot).value_or(Presence());
    const std::string idle = localized("閒置時間");
    if (report.idleSource && !report.idleSource->empty())
        findings.push_back({Level::good, idle,
                            localized("%@，來源 %@", {durationText(presence.idleSeconds),
                                                      text::visible(*report.idleSource)}),
                            ""});
    else if (report.idleSource)
        findings.push_back({presence.mode == AwayMode::automatic ? Level::problem : Level::notice,
                            idle, localized("無法得知閒置時間，「自動」會一直當作你在電腦前"),
                            localized("離開前用 tamsellctl mode on")});

    const JSONValue& relay = json::member(report.snapshot, "relay");
    const std::string subject = localized("中繼");
    if (!json::isTrue(relay, "configured"))
        findings.push_back(
            {Level::notice, subject, localized("還沒設定，問題只能在這台電腦上回答"), ""});
    else if (const auto refusal = relayRefusal(report))
        findings.push_back(refusalFinding(subject, *refusal));
    else if (!json::isTrue(relay, "connected"))
        findings.push_back({Level::problem, subject, localized("連不上中繼，手機收不到問題"),
                            localized("檢查網路；Tamsell 會自己重試")});
    else if (json::numberOf(relay, "devices") == 0)
        findings.push_back({Level::notice, subject, localized("已連線，還沒有配對的手機"), ""});
    else
        findings.push_back(
            {Level::good, subject,
             localized("已連線，配對 %lld 支手機", {json::numberOf(relay, "devices")}), ""});
    return findings;
}

} // namespace ctl
