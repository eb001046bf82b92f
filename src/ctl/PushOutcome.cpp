#include "ctl/PushOutcome.h"

#include "core/JSONMember.h"
#include "core/Localized.h"

namespace ctl {

namespace {

const JSONValue& relayIn(const JSONValue& snapshot) {
    return json::member(snapshot, "relay");
}

} // namespace

std::optional<PushReport> PushReport::from(const JSONValue& value) {
    const JSONValue& phones = json::member(value, "devices");
    const JSONValue& reached = json::member(value, "ok");
    if (!phones.number() || !reached.number())
        return std::nullopt;
    return PushReport{.phones = *phones.number(),
                      .reached = *reached.number(),
                      .at = json::numberOf(value, "at")};
}

std::string PushReport::text() const {
    if (phones == 0)
        return localized("還沒有手機註冊推播，先在手機上打開 Tamsell App");
    if (isDelivered())
        return localized("送達 %lld/%lld 台裝置", {reached, phones});
    return localized("推播送不出去（0/%lld）", {phones});
}

PushOutcome sendTestPush(const DaemonClient& daemon) {
    const JSONValue before = daemon.get("/state");
    const auto previous = PushReport::from(json::member(relayIn(before), "lastPush"));
    const auto report = PushReport::from(daemon.post("/test-push", {}));
    // A report that was there before is none on this push.
    if (report && (!previous || report->at > previous->at))
        return {.report = report, .text = report->text(), .isDelivered = report->isDelivered()};
    const JSONValue after = daemon.get("/state");
    const bool isConnected = json::isTrue(relayIn(after), "connected");
    return {.report = std::nullopt,
            .text = localized(isConnected ? "中繼沒有回應" : "還沒連上中繼"),
            .isDelivered = false};
}

} // namespace ctl
