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
    add(checkSurroundings(report));
    add(checkService(UserService(context.environment, context.locations).state(), report));
    return all;
}

} // namespace ctl
