#include "daemon/TestPush.h"

#include "core/Clock.h"
#include "core/Localized.h"

namespace testpush {

namespace {

constexpr std::chrono::seconds patience{4};

std::optional<double> member(const JSONValue& report, std::string_view key) {
    const JSONValue* value = report[key];
    return value ? value->number() : std::nullopt;
}

} // namespace

JSONObject payload() {
    return {{"type", "notify"},
            {"target", "test"},
            {"kind", "test"},
            {"project", "tamsell"},
            {"detail", localized("推播測試：看得到這段文字，代表解密也成功了")}};
}

std::optional<Result> result(const std::optional<JSONValue>& lastPush, bool connected,
                             std::chrono::system_clock::time_point sentAt,
                             std::chrono::system_clock::time_point now) {
    const JSONValue report = lastPush.value_or(JSONValue());
    const auto devices = member(report, "devices");
    const auto reached = member(report, "ok");
    if (devices && reached && member(report, "at").value_or(0) >= wallclock::milliseconds(sentAt)) {
        if (*devices == 0)
            return Result{localized("還沒有手機註冊推播，先在手機上打開 Tamsell App"), false};
        if (*reached >= 1)
            return Result{localized("送達 %lld/%lld 台裝置", {*reached, *devices}), true};
        return Result{localized("推播送不出去（0/%lld）", {*devices}), false};
    }
    if (now - sentAt > patience)
        return Result{localized(connected ? "中繼沒有回應" : "還沒連上中繼"), false};
    return std::nullopt;
}

} // namespace testpush
