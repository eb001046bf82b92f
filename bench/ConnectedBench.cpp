#include <stdexcept>

#include "Events.h"
#include "Memory.h"
#include "ProcessorCost.h"
#include "Report.h"
#include "ScratchDaemon.h"
#include "Sections.h"
#include "Statistics.h"
#include "core/Base64Url.h"
#include "support/RelayDouble.h"

namespace bench {

namespace {

constexpr double megabyte = 1024 * 1024;
constexpr int rounds = 9;
constexpr int eventsPerRound = 3000;

ScratchDaemon::Relay settingsFor(const RelayDouble& relay) {
    ScratchDaemon::Relay result{Config::freshRelayConfig(relay.url()), relay.authority()};
    result.settings.devices = {
        {"aaaaaaaaaaaaaaaaaaaaaa", "phone", base64url::encode(std::array<std::uint8_t, 32>{1}), 1}};
    return result;
}

// A daemon over TLS, with one paired phone.
struct Connected {
    RelayDouble relay{{.transport = RelayDouble::Transport::tls, .identity = {}}};
    ScratchDaemon daemon{"off", settingsFor(relay)};

    Connected() {
        if (!relay.waitUntil([this] { return !relay.received("sync").empty(); }))
            throw std::runtime_error("the daemon did not connect to the relay");
        daemon.settle();
    }
    void bringPhone() {
        relay.inject(R"({"t":"peers","phones":["aaaaaaaaaaaaaaaaaaaaaa"]})");
        if (!relay.waitUntil([this] { return !relay.received("msg").empty(); }))
            throw std::runtime_error("the phone got no state");
    }
};

struct Costs {
    const ScratchDaemon& daemon;
    std::string request = events::post(daemon.port(), events::toolUse("0d2b8a44-load"));
    std::vector<double> costs{};

    void runOnce() {
        costs.push_back(
            costOf(daemon.process(),
                   {.port = daemon.port(), .requests = {&request, 1}, .count = eventsPerRound}));
    }
};

} // namespace

void measureConnected() {
    constexpr double limit = 22;
    constexpr double limitAlone = 16;
    const ScratchDaemon alone("off");
    alone.settle();
    const Connected connected;
    const auto pid = connected.daemon.process().id();
    print({"daemon connected over TLS, memory (PSS), vs its limit",
           proportionalBytes(pid) / megabyte, limit, "MB", 1.0});
    print({"  if it shared no library with anybody (RSS)", residentBytes(pid) / megabyte, limit,
           "MB"});
    print({"  without relay settings (PSS), vs its limit",
           proportionalBytes(alone.process().id()) / megabyte, limitAlone, "MB", 1.0});

    Connected withPhone;
    withPhone.bringPhone();
    Costs aloneCosts{alone};
    Costs connectedCosts{connected.daemon};
    Costs phoneCosts{withPhone.daemon};
    for (int i = 0; i < rounds; ++i) {
        aloneCosts.runOnce();
        connectedCosts.runOnce();
        phoneCosts.runOnce();
    }
    const double reference = median(aloneCosts.costs);
    print({"an event with a relay connected, vs without one", median(connectedCosts.costs),
           reference, "us"});
    print({"  with a phone online, too", median(phoneCosts.costs), reference, "us"});
}

} // namespace bench
