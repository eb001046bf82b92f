// The command that looks at everything, and puts lost settings back.

#include <algorithm>
#include <iterator>

#include "core/ConfigFile.h"
#include "core/Localized.h"
#include "ctl/Checks.h"
#include "ctl/Commands.h"
#include "ctl/ConfigEdit.h"
#include "ctl/Output.h"
#include "ctl/Presence.h"
#include "ctl/Shown.h"

namespace ctl {

namespace {

int restore(const Context& context) {
    const std::filesystem::path kept = context.locations.configFile.string() + ".last-good";
    const ConfigFile good = ConfigFile::read(kept);
    if (good.state != ConfigFile::State::object)
        throw DaemonError(localized("沒有可以還原的設定：%@", {shown(kept)}));
    const Config restored = Config::over(good.members);
    const auto outcome = editConfig(
        context, [&](JSONObject& members) { members = good.members; },
        [&](const JSONValue& snapshot) {
            const auto presence = Presence::in(snapshot);
            return presence && presence->mode == restored.mode();
        });
    // It is config.json now.
    std::filesystem::remove(kept);
    output::write((outcome == EditOutcome::shown
                       ? localized("已還原先前的設定，執行中的 Tamsell 也採用了")
                       : localized("已還原先前的設定，Tamsell 下次啟動時採用")) +
                  "\n");
    return 0;
}

} // namespace

int doctor(const Context& context, const Arguments& arguments) {
    if (arguments.restore)
        return restore(context);
    const DaemonReport report = askDaemon(context);
    Findings findings = diagnose(context, report);
    std::ranges::move(checkRelayPath(context, report), std::back_inserter(findings));
    const auto problems = std::ranges::count(findings, Finding::Level::problem, &Finding::level);
    if (arguments.json)
        output::writeJSON(jsonOf(findings));
    else
        output::write(linesOf(findings));
    if (problems > 0)
        throw DaemonError(localized("有 %lld 個問題", {static_cast<double>(problems)}));
    return 0;
}

} // namespace ctl
