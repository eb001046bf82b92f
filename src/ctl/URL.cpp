// The command that says where the page is.

#include "core/Localized.h"
#include "core/PageURL.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/Output.h"
#include "ctl/Shown.h"

namespace ctl {

int url(const Context& context, const Arguments& arguments) {
    const Config config = context.config();
    if (config.token().empty())
        throw DaemonError(localized("設定檔 %@ 裡還沒有存取權杖；Tamsell 第一次啟動時會產生",
                                    {shown(context.locations.configFile)}));
    const std::string address =
        pageURL(DaemonClient(config, context.owner()).address(), config.token());
    if (arguments.json)
        output::writeJSON(JSONObject{{"url", address}});
    else
        output::write(address + "\n");
    return 0;
}

} // namespace ctl
