// The command that shows and switches when the user counts as away.

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/Output.h"
#include "ctl/Presence.h"

namespace ctl {

int mode(const Context& context, const Arguments& arguments) {
    const DaemonClient daemon(context);
    JSONValue value;
    if (arguments.words.empty()) {
        value = json::member(daemon.get("/state"), "presence");
    } else {
        if (!awayModeFrom(arguments.words[0]))
            throw UsageError(localized("模式只能是 off、auto 或 on"));
        value = daemon.post("/mode", {{"mode", arguments.words[0]}});
    }
    if (arguments.json)
        output::writeJSON(value);
    else if (const auto presence = Presence::from(value))
        output::write(textOf(*presence) + "\n");
    return 0;
}

} // namespace ctl
