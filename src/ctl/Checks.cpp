#include "ctl/Checks.h"

#include <algorithm>
#include <iterator>

namespace ctl {

Findings diagnose(const Context& context, const DaemonReport& report) {
    Findings all;
    const auto add = [&](Findings findings) {
        std::ranges::move(findings, std::back_inserter(all));
    };
    add(checkDataDirectory(context.locations));
    add(checkConfig(context.locations));
    add(checkDaemon(report));
    add(checkHooks(context));
    add(checkHookTimeouts(context));
    add(checkAgentSettings(context));
    add(checkSurroundings(report));
    // What was found here is more exact than what the daemon met with.
    for (Finding& trouble : checkTroubles(report)) {
        const bool isSaid = std::ranges::any_of(all, [&](const Finding& finding) {
            return finding.level == trouble.level && finding.subject == trouble.subject;
        });
        if (!isSaid)
            all.push_back(std::move(trouble));
    }
    add(checkService(UserService(context.environment, context.locations).state(), report));
    return all;
}

} // namespace ctl
