// The commands that say and change how Tamsell stands.

#include "ctl/Presence.h"

#include <cmath>

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/Output.h"

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

double numberIn(const JSONValue& value, std::string_view key) {
    const JSONValue* member = value[key];
    return member ? member->number().value_or(0) : 0;
}

} // namespace

std::string durationText(double seconds) {
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    if (seconds < 2 * minute)
        return localized("%lld 秒", {std::floor(seconds)});
    if (seconds < 2 * hour)
        return localized("%lld 分鐘", {std::floor(seconds / minute)});
    return localized("%lld 小時", {std::floor(seconds / hour)});
}

std::string presenceText(const JSONValue& presence) {
    const JSONValue* member = presence["mode"];
    const std::string* name = member ? member->string() : nullptr;
    const AwayMode mode = awayModeFrom(name ? *name : "").value_or(AwayMode::automatic);
    const JSONValue* away = presence["away"];
    const bool isAway = away && away->boolean().value_or(false);
    std::string text = label(mode);
    text += isAway ? localized("，現在算離開：問題會等你回答")
                   : localized("，現在算在電腦前：agent 照常自己問");
    if (mode == AwayMode::automatic)
        text += localized("（閒置 %@，", {durationText(numberIn(presence, "idleSeconds"))}) +
                localized("%lld 分鐘後算離開）", {numberIn(presence, "idleMinutes")});
    return text;
}

int url(const Context& context, const Arguments& arguments) {
    const Config config = context.config();
    if (config.token().empty())
        throw DaemonError(localized("設定檔 %@ 裡還沒有存取權杖；Tamsell 第一次啟動時會產生",
                                    {text::visible(context.locations.configFile.string())}));
    const std::string address = "http://" + DaemonClient(config, context.owner()).address() +
                                "/?token=" + percentEncoded(config.token());
    if (arguments.json)
        output::writeJSON(JSONObject{{"url", address}});
    else
        output::write(address + "\n");
    return 0;
}

int mode(const Context& context, const Arguments& arguments) {
    const DaemonClient daemon(context);
    JSONValue presence;
    if (arguments.words.empty()) {
        const JSONValue snapshot = daemon.get("/state");
        presence = snapshot["presence"] ? *snapshot["presence"] : JSONValue();
    } else {
        if (!awayModeFrom(arguments.words[0]))
            throw UsageError(localized("模式只能是 off、auto 或 on"));
        presence = daemon.post("/mode", {{"mode", arguments.words[0]}});
    }
    if (arguments.json)
        output::writeJSON(presence);
    else
        output::write(presenceText(presence) + "\n");
    return 0;
}

} // namespace ctl
