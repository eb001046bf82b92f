#include <filesystem>
#include <system_error>

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"

namespace ctl {

using Level = Finding::Level;

Findings checkService(const UserService::State& state, const DaemonReport& report) {
    const std::string subject = localized("服務");
    const std::string install = "tamsellctl service install";
    if (!state.isInstalled)
        return {{Level::notice, subject,
                 localized("沒有安裝，登入後要自己啟動 Tamsell") +
                     (state.trouble ? localized("（這裡不能用：%@）", {*state.trouble}) : ""),
                 state.trouble ? "" : install}};
    std::error_code error;
    if (!state.program.empty() && !std::filesystem::exists(state.program, error)) {
        // Installing it stops what runs in its place.
        const bool isFree = !state.isActive && report.obstacle == Unreachable::Reason::notRunning;
        return {{Level::problem, subject,
                 localized("要啟動的 %@ 不在了", {text::visible(state.program)}), install,
                 isFree ? Mend::service : Mend::none}};
    }
    if (state.trouble)
        return {{Level::problem, subject, localized("systemd 沒有回應：%@", {*state.trouble}),
                 localized("登入一個完整的工作階段再試（例如 ssh 或 machinectl shell）")}};
    if (!state.isEnabled)
        return {{Level::problem, subject, localized("已安裝，但登入時不會啟動"), install}};
    if (!state.isActive)
        return {
            {Level::problem, subject,
             state.result.empty() ? localized("已安裝，但沒有在執行")
                                  : localized("啟動失敗（%@）", {text::visible(state.result)}),
             localized("journalctl --user -u tamsell 看原因，再執行 tamsellctl service install")}};
    if (!report.obstacle && report.process != state.process)
        return {{Level::notice, subject,
                 localized("執行中，但 %@ 由另一個 Tamsell 佔用", {report.address}),
                 localized("結束另一個，再執行 tamsellctl service install")}};
    if (state.lingers == false)
        return {{Level::notice, subject, localized("執行中，但登出後就停止"),
                 "sudo loginctl enable-linger \"$USER\""}};
    return {{Level::good, subject, localized("執行中，登入時自動啟動"), ""}};
}

} // namespace ctl
