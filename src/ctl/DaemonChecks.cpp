#include "core/Decimal.h"
#include "core/File.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"
#include "ctl/Presence.h"
#include "platform/RunningProgram.h"

namespace ctl {

namespace {

using Level = Finding::Level;
using Reason = Unreachable::Reason;

constexpr std::size_t maximumStatusFile = std::size_t{1} << 20;

double numberIn(const JSONValue* value, std::string_view key) {
    const JSONValue* member = value ? (*value)[key] : nullptr;
    return member ? member->number().value_or(0) : 0;
}

bool truthIn(const JSONValue* value, std::string_view key) {
    const JSONValue* member = value ? (*value)[key] : nullptr;
    return member && member->boolean().value_or(false);
}

std::optional<std::string> idleSource(const Locations& locations, double process) {
    const auto text = file::readStart(locations.statusFile.string(), maximumStatusFile);
    const auto status = text ? JSONValue::parse(*text) : std::nullopt;
    const JSONValue* source = status ? (*status)["idleSource"] : nullptr;
    // An earlier process may have written it.
    if (!source || !source->string() || numberIn(&*status, "pid") != process)
        return std::nullopt;
    return *source->string();
}

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

} // namespace

DaemonReport askDaemon(const Context& context) {
    DaemonReport report;
    const DaemonClient daemon(context);
    report.address = daemon.address();
    try {
        const auto health = daemon.health();
        report.process = numberIn(&health.body, "pid");
        report.isOutdated = runsReplacedFile(static_cast<pid_t>(report.process));
        report.snapshot = daemon.get("/state");
        // Composing the snapshot has read it.
        report.idleSource = idleSource(context.locations, report.process);
    } catch (const Unreachable& error) {
        report.obstacle = error.reason();
        report.trouble = error.message();
    } catch (const DaemonError& error) {
        report.obstacle = Reason::anotherProgram;
        report.trouble = error.message();
    }
    return report;
}

Findings checkDaemon(const DaemonReport& report) {
    const std::string subject = "Tamsell";
    if (report.obstacle)
        return {{Level::problem, subject,
                 *report.obstacle == Reason::notRunning
                     ? localized("沒有在執行（%@ 沒有程式在聽）", {report.address})
                     : text::visible(report.trouble),
                 remedyFor(*report.obstacle)}};
    std::string process;
    decimal::append(process, report.process);
    if (report.isOutdated)
        return {{Level::problem, subject,
                 localized("程式已經更新，執行中的還是舊的（程序 %@）", {process}),
                 localized("重新啟動 Tamsell")}};
    return {
        {Level::good, subject, localized("執行中（程序 %@，%@）", {process, report.address}), ""}};
}

Findings checkSurroundings(const DaemonReport& report) {
    if (report.obstacle)
        return {};
    Findings findings;
    const JSONValue* presence = report.snapshot["presence"];
    const JSONValue* mode = presence ? (*presence)["mode"] : nullptr;
    const bool isAutomatic = mode && mode->string() && *mode->string() == "auto";
    const std::string idle = localized("閒置時間");
    if (report.idleSource && !report.idleSource->empty())
        findings.push_back(
            {Level::good, idle,
             localized("%@，來源 %@", {durationText(numberIn(presence, "idleSeconds")),
                                       text::visible(*report.idleSource)}),
             ""});
    else if (report.idleSource)
        findings.push_back({isAutomatic ? Level::problem : Level::notice, idle,
                            localized("沒有來源，「自動」永遠算在電腦前"),
                            localized("離開前用 tamsellctl mode on")});

    const JSONValue* relay = report.snapshot["relay"];
    const std::string subject = localized("中繼");
    if (!truthIn(relay, "configured"))
        findings.push_back(
            {Level::notice, subject, localized("還沒設定，問題只能在這台電腦上回答"), ""});
    else if (!truthIn(relay, "connected"))
        findings.push_back({Level::problem, subject, localized("連不上中繼，手機收不到問題"),
                            localized("檢查網路；Tamsell 會自己重試")});
    else if (numberIn(relay, "devices") == 0)
        findings.push_back({Level::notice, subject, localized("已連線，還沒有配對的手機"), ""});
    else
        findings.push_back({Level::good, subject,
                            localized("已連線，配對 %lld 支手機", {numberIn(relay, "devices")}),
                            ""});
    return findings;
}

Findings checkService(const UserService::State& state, const DaemonReport& report) {
    const std::string subject = localized("服務");
    const std::string install = "tamsellctl service install";
    if (!state.isInstalled)
        return {{Level::notice, subject, localized("沒有安裝，登入後要自己啟動 Tamsell"),
                 state.trouble ? localized("這裡不能用：%@", {*state.trouble}) : install}};
    std::error_code error;
    if (!state.program.empty() && !std::filesystem::exists(state.program, error))
        return {{Level::problem, subject,
                 localized("要啟動的 %@ 不在了", {text::visible(state.program)}), install}};
    if (state.trouble)
        return {{Level::problem, subject, localized("systemd 沒有回應：%@", {*state.trouble}),
                 localized("登入一個完整的工作階段再試（例如 ssh 或 machinectl shell）")}};
    if (!state.isEnabled)
        return {{Level::problem, subject, localized("已安裝，但登入時不會啟動"), install}};
    if (!state.isActive)
        return {{Level::problem, subject,
                 state.result.empty() ? localized("已安裝，但沒有在執行")
                                      : localized("啟動失敗（%@）", {text::visible(state.result)}),
                 localized("journalctl --user -u tamsell 看原因，再 tamsellctl service install")}};
    if (!report.obstacle && report.process != state.process)
        return {{Level::notice, subject,
                 localized("執行中，但 %@ 由另一個 Tamsell 佔用", {report.address}),
                 localized("結束另一個，再 tamsellctl service install")}};
    if (state.lingers == false)
        return {{Level::notice, subject, localized("執行中，但登出後就停止"),
                 localized("sudo loginctl enable-linger \"$USER\"")}};
    return {{Level::good, subject, localized("執行中，登入時自動啟動"), ""}};
}

} // namespace ctl
