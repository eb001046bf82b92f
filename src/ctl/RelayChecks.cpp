#include <chrono>

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "ctl/Checks.h"
#include "ctl/Duration.h"
#include "ctl/RelayProbe.h"

namespace ctl {

namespace {

using Level = Finding::Level;

// Sealed messages whose time differs more from the receiver's clock are refused.
constexpr std::chrono::seconds largestDifference{600};
constexpr std::chrono::seconds noticeableDifference{60};
constexpr int serverErrors = 500;

Finding checkClock(std::chrono::seconds ahead) {
    const std::string subject = localized("時鐘");
    const auto difference = std::chrono::abs(ahead);
    const std::string time = durationText(static_cast<double>(difference.count()));
    if (difference < noticeableDifference)
        return {Level::good, subject, localized("與中繼相差 %@", {time}), ""};
    const std::string found = ahead.count() > 0 ? localized("這台電腦比中繼快 %@", {time})
                                                : localized("這台電腦比中繼慢 %@", {time});
    const std::string remedy = localized("校正這台電腦的時鐘");
    if (difference <= largestDifference)
        return {Level::notice, subject, found + localized("，超過 10 分鐘就不能與手機通訊"),
                remedy};
    return {Level::problem, subject, found + localized("，手機與這台電腦都會拒收對方的訊息"),
            remedy};
}

} // namespace

Findings checkRelayPath(const Context& context, const DaemonReport& report) {
    const Config config = context.config();
    const auto url = config.relayURL();
    if (!url)
        return {};
    const std::string subject = localized("中繼連線");
    const auto settings = config.relay();
    if (!settings)
        return {{Level::problem, subject, localized("config.json 的中繼設定不完整"),
                 localized("用 tamsellctl relay set URL 重新設定")}};
    const JSONValue& relay = json::member(report.snapshot, "relay");
    const bool isConnected = json::isTrue(relay, "connected");
    RelayAddress address;
    try {
        address = RelayAddress::from(*url);
    } catch (const DaemonError& error) {
        return {{isConnected ? Level::notice : Level::problem, subject,
                 localized("config.json 的中繼網址有問題：%@", {error.message()}),
                 localized("用 tamsellctl relay set URL 重新設定")}};
    }
    try {
        const RelayReply reply = probeRelay(address, settings->channel,
                                            context.environment("TAMSELL_RELAY_CA").value_or(""));
        const std::string found = localized("%@ 有回應（HTTP %@，%@ ms）",
                                            {address.authority(), std::to_string(reply.status),
                                             std::to_string(reply.took.count() / 1000)});
        Findings findings;
        if (reply.status >= serverErrors)
            findings.push_back({isConnected ? Level::notice : Level::problem, subject,
                                found + localized("，但它出了問題"),
                                localized("稍後再試，或請中繼的管理者處理")});
        else if (!report.obstacle && json::isTrue(relay, "configured") && !isConnected &&
                 !relayRefusal(report))
            findings.push_back({Level::notice, subject, found + localized("，但 Tamsell 還沒連上"),
                                localized("等 30 秒再檢查一次；還是一樣就檢查中繼網址，或用 "
                                          "tamsellctl relay set URL 重新設定")});
        else
            findings.push_back({Level::good, subject, found, ""});
        if (reply.clockAhead)
            findings.push_back(checkClock(*reply.clockAhead));
        return findings;
    } catch (const RelayUnreachable& error) {
        // The daemon may have another way: other variables of its environment.
        return {{isConnected ? Level::notice : Level::problem, subject, error.message(),
                 error.remedy()}};
    }
}

} // namespace ctl
