// The command that says where the page is.

#include "core/Localized.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/Output.h"
#include "ctl/Shown.h"

namespace ctl {

namespace {

// Everything but the unreserved characters (RFC 3986 section 2.3) in hexadecimal.
std::string percentEncoded(std::string_view text) {
    constexpr char digits[] = "0123456789ABCDEF";
    constexpr std::string_view unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    std::string result;
    for (const char c : text) {
        if (unreserved.find(c) != std::string_view::npos) {
            result += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        result += '%';
        result += digits[byte >> 4];
        result += digits[byte & 15];
    }
    return result;
}

} // namespace

int url(const Context& context, const Arguments& arguments) {
    const Config config = context.config();
    if (config.token().empty())
        throw DaemonError(localized("設定檔 %@ 裡還沒有存取權杖；Tamsell 第一次啟動時會產生",
                                    {shown(context.locations.configFile)}));
    const std::string address = "http://" + DaemonClient(config, context.owner()).address() +
                                "/?token=" + percentEncoded(config.token());
    if (arguments.json)
        output::writeJSON(JSONObject{{"url", address}});
    else
        output::write(address + "\n");
    return 0;
}

} // namespace ctl
