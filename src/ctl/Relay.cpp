// The commands for the relay's settings.

#include "core/ConfigFile.h"
#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Commands.h"
#include "ctl/ConfigEdit.h"
#include "ctl/Confirmation.h"
#include "ctl/DaemonClient.h"
#include "ctl/LocalTime.h"
#include "ctl/Output.h"
#include "ctl/PushOutcome.h"
#include "ctl/RelayAddress.h"
#include "ctl/Shown.h"

namespace ctl {

namespace {

// The settings in the file. Anything else in its place would be lost by writing it anew.
Config editableConfig(const Context& context) {
    const auto& path = context.locations.configFile;
    const ConfigFile file = ConfigFile::read(path);
    if (file.state == ConfigFile::State::absent)
        throw DaemonError(localized("還沒有 %@；先啟動 Tamsell 一次", {shown(path)}));
    if (file.state == ConfigFile::State::damaged)
        throw DaemonError(
            localized("%@ 不是 JSON 物件；先用 tamsellctl doctor 查看", {shown(path)}));
    return Config::over(file.members);
}

void confirmLosing(const Config& config, const Arguments& arguments) {
    const auto settings = config.relay();
    if (settings && !settings->devices.empty() && !arguments.yes)
        confirm(localized("已配對 %lld 支手機，之後都要重新配對。",
                          {static_cast<double>(settings->devices.size())}));
}

// @param relay nothing removes the settings
EditOutcome store(const Context& context, const std::optional<RelayConfig>& relay) {
    return editConfig(
        context,
        [&](JSONObject& members) {
            Config config;
            config.raw = members;
            config.setRelay(relay);
            members = config.raw;
        },
        [&](const JSONValue& snapshot) {
            const JSONValue& shownRelay = json::member(snapshot, "relay");
            const std::string* url = json::textOf(shownRelay, "url");
            return relay ? url && *url == relay->url : !json::isTrue(shownRelay, "configured");
        });
}

std::string whenInForce(EditOutcome outcome) {
    return outcome == EditOutcome::shown ? std::string() : localized("，Tamsell 下次啟動時採用");
}

} // namespace

int relayStatus(const Context& context, const Arguments& arguments) {
    const JSONValue snapshot = DaemonClient(context).get("/state");
    const JSONValue& relay = json::member(snapshot, "relay");
    if (arguments.json) {
        output::writeJSON(relay);
        return 0;
    }
    if (!json::isTrue(relay, "configured")) {
        output::write(localized("還沒設定中繼，用 tamsellctl relay set URL 設定") + "\n");
        return 0;
    }
    const std::string* url = json::textOf(relay, "url");
    output::writeRow(localized("網址"), url ? text::visible(*url) : "?");
    output::writeRow(localized("連線"),
                     localized(json::isTrue(relay, "connected") ? "已連線" : "沒有連上"));
    output::writeRow(localized("手機"),
                     localized("%lld 支配對，%lld 支在線", {json::numberOf(relay, "devices"),
                                                            json::numberOf(relay, "phones")}));
    const auto push = PushReport::from(json::member(relay, "lastPush"));
    output::writeRow(localized("上次推播"),
                     push ? dateTimeText(push->at) + " " + push->text() : localized("還沒有"));
    return 0;
}

int relaySet(const Context& context, const Arguments& arguments) {
    const RelayConfig fresh = Config::freshRelayConfig(arguments.words[0]);
    try {
        (void)RelayAddress::from(fresh.url);
    } catch (const DaemonError& error) {
        throw UsageError(error.message());
    }
    const Config config = editableConfig(context);
    confirmLosing(config, arguments);
    // With the same URL nothing that the daemon shows would tell the new keys from the old ones.
    if (config.relayURL() == fresh.url)
        store(context, std::nullopt);
    const EditOutcome outcome = store(context, fresh);
    output::write(localized("中繼已設為 %@", {text::visible(fresh.url)}) + whenInForce(outcome) +
                  "\n" + localized("接著用 tamsellctl pair 配對手機") + "\n");
    return 0;
}

int relayReset(const Context& context, const Arguments& arguments) {
    const Config config = editableConfig(context);
    if (!config.raw.find("relay")) {
        output::write(localized("本來就沒有設定中繼") + "\n");
        return 0;
    }
    confirmLosing(config, arguments);
    const EditOutcome outcome = store(context, std::nullopt);
    output::write(localized("已移除中繼的設定") + whenInForce(outcome) + "\n");
    return 0;
}

} // namespace ctl
