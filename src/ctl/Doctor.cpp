// The command that looks at everything, and puts lost settings back.

#include <algorithm>

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"
#include "ctl/Commands.h"
#include "ctl/ConfigEdit.h"
#include "ctl/Output.h"

namespace ctl {

namespace {

int restore(const Context& context) {
    const std::filesystem::path kept = context.locations.configFile.string() + ".last-good";
    const ConfigFile good = ConfigFile::read(kept);
    if (good.state != ConfigFile::State::object)
        throw DaemonError(localized("沒有可以回復的設定：%@", {text::visible(kept.string())}));
    const Config restored = Config::over(good.members);
    const auto outcome = editConfig(
        context, [&](JSONObject& members) { members = good.members; },
        [&](const JSONValue& snapshot) {
            const JSONValue* presence = snapshot["presence"];
            const JSONValue* mode = presence ? (*presence)["mode"] : nullptr;
            return mode && *mode == JSONValue(rawValue(restored.mode()));
        });
    // It is config.json now.
    std::filesystem::remove(kept);
    output::write((outcome == EditOutcome::shown
                       ? localized("已回復之前的設定，執行中的 Tamsell 也採用了")
                       : localized("已回復之前的設定，Tamsell 下次啟動時採用")) +
                  "\n");
    return 0;
}

} // namespace

Findings diagnose(const Context& context, const DaemonReport& report) {
    Findings all;
    const auto add = [&](Findings findings) {
        std::ranges::move(findings, std::back_inserter(all));
    };
    add(checkDataDirectory(context.locations));
    add(checkConfig(context.locations));
    add(checkDaemon(report));
    add(checkHooks(context));
    add(checkSurroundings(report));
    add(checkService(UserService(context.environment, context.locations).state(), report));
    return all;
}

int doctor(const Context& context, const Arguments& arguments) {
    if (arguments.restore)
        return restore(context);
    const Findings findings = diagnose(context, askDaemon(context));
    const auto problems = std::ranges::count(findings, Finding::Level::problem, &Finding::level);
    if (arguments.json) {
        JSONArray all;
        for (const Finding& finding : findings)
            all.push_back(jsonOf(finding));
        output::writeJSON(JSONValue(std::move(all)));
    } else {
        for (const Finding& finding : findings)
            output::write(lineOf(finding) + "\n");
    }
    if (problems > 0)
        throw DaemonError(localized("有 %lld 個問題", {static_cast<double>(problems)}));
    return 0;
}

} // namespace ctl
