// The commands that install hooks, remove them, and say how they are.

#include "core/Localized.h"
#include "ctl/Commands.h"
#include "ctl/HooksReport.h"
#include "ctl/Output.h"
#include "ctl/Shown.h"

namespace ctl {

int hooksStatus(const Context& context, const Arguments& arguments) {
    const Hooks::Status status = context.hooks.status();
    if (arguments.json)
        output::writeJSON(hooksJSON(status));
    else
        output::write(hooksText(status) + "\n");
    return 0;
}

int hooksInstall(const Context& context, const Arguments& /*arguments*/) {
    context.hooks.install();
    const Hooks::Status status = context.hooks.status();
    const bool isWhole = status.claude == static_cast<int>(Hooks::claudeEvents().size()) &&
                         status.scriptCurrent && !status.error;
    if (!isWhole)
        throw DaemonError(localized("安裝後仍不完整：%@", {hooksText(status)}));
    output::write(localized("已安裝：%@", {hooksText(status)}) + "\n");
    return 0;
}

int hooksRemove(const Context& context, const Arguments& /*arguments*/) {
    context.hooks.removeEntries();
    for (const auto& file : {context.locations.claudeSettings, context.locations.codexHooks}) {
        if (isUnreadable(file))
            throw DaemonError(localized("讀不到 %@，所以沒有檢查", {shown(file)}));
    }
    output::write(localized("已移除：%@", {hooksText(context.hooks.status())}) + "\n");
    return 0;
}

} // namespace ctl
