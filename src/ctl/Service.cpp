// The commands that have the daemon started where no desktop does it.

#include "core/Localized.h"
#include "ctl/Checks.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "ctl/Shown.h"

namespace ctl {

namespace {

UserService serviceOf(const Context& context) {
    return {context.environment, context.locations};
}

} // namespace

int serviceInstall(const Context& context, const Arguments& /*arguments*/) {
    const auto program = context.bundle.program("tamsell");
    if (!program)
        throw DaemonError(localized("這裡沒有 tamsell 這個程式"));
    const UserService service = serviceOf(context);
    service.install(*program);
    output::write(localized("已安裝 %@", {shown(service.file())}) + "\n");
    output::write(linesOf(checkService(service.state(), askDaemon(context))));
    return 0;
}

int serviceRemove(const Context& context, const Arguments& /*arguments*/) {
    const UserService service = serviceOf(context);
    const bool wasThere = std::filesystem::exists(service.file());
    service.remove();
    output::write((wasThere ? localized("已停止並移除") : localized("本來就沒有安裝")) + "\n");
    return 0;
}

int serviceStatus(const Context& context, const Arguments& arguments) {
    const UserService::State state = serviceOf(context).state();
    if (arguments.json) {
        JSONObject object{{"installed", state.isInstalled},
                          {"enabled", state.isEnabled},
                          {"active", state.isActive},
                          {"pid", nullptr},
                          {"program", nullptr},
                          {"lingers", nullptr},
                          {"result", nullptr},
                          {"error", output::orNull(state.trouble)}};
        if (!state.program.empty())
            object.set("program", state.program);
        if (!state.result.empty())
            object.set("result", state.result);
        if (state.process > 0)
            object.set("pid", static_cast<double>(state.process));
        if (state.lingers)
            object.set("lingers", *state.lingers);
        output::writeJSON(object);
        return 0;
    }
    output::write(linesOf(checkService(state, askDaemon(context))));
    return 0;
}

} // namespace ctl
