#include <chrono>
#include <stdexcept>

#include "Loopback.h"
#include "Memory.h"
#include "Peers.h"
#include "Report.h"
#include "Sections.h"
#include "Statistics.h"
#include "WebSocketClients.h"
#include "core/Base64Url.h"
#include "crypto/Hash.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::size_t computers = 500;
constexpr std::size_t phonesOfEach = 10;
constexpr std::size_t connections = computers * (1 + phonesOfEach);
constexpr std::size_t household = 20; // Phones of the computer that notifies.
constexpr double kilobyte = 1024;

const std::string token(43, 'T');

// A name of 22 characters.
std::string nameOf(char kind, std::size_t number) {
    const std::string digits = std::to_string(number);
    return std::string(22 - digits.size(), kind) + digits;
}

// A sealed answer or notification.
std::string sealed() {
    return R"("n":"AAAAAAAAAAAAAAAA","c":")" + std::string(600, 'c') + '"';
}

// Every computer as if behind an address of its own: one alone may not register so many.
std::string addressOf(std::size_t number) {
    return "X-Forwarded-For: 10.0." + std::to_string(number / 250) + "." +
           std::to_string(number % 250 + 1) + "\r\n";
}

PeerServer startRelay(const ScratchDirectory& directory) {
    const std::uint16_t port = loopback::freePort();
    PeerServer relay{port, Process({.arguments = {TAMSELL_BIN "/tamsell-relay", "--listen",
                                                  "127.0.0.1:" + std::to_string(port), "--database",
                                                  (directory.path() / "relay.db").string(),
                                                  "--trust-proxy", "127.0.0.1"}})};
    loopback::waitForListener(port);
    return relay;
}

PeerServer startEcho() {
    const std::uint16_t port = loopback::freePort();
    PeerServer echo{port,
                    Process({.arguments = {TAMSELL_BENCH_BIN "/bare-echo", std::to_string(port)}})};
    loopback::waitForListener(port);
    return echo;
}

/// A computer and its phones, as numbers of clients.
struct Household {
    std::size_t computer;
    std::vector<std::size_t> phones;
    std::string toFirst; ///< a frame of the computer for its first phone
    std::string toAll;   ///< its notification
};

Household bring(WebSocketClients& clients, std::size_t number, std::size_t phones) {
    const std::string channel = nameOf('c', number);
    const std::string hash = base64url::encode(hash::sha256(token));
    Household result{.computer = clients.connect("/ws/" + channel + "?role=mac&auth=" + token,
                                                 addressOf(number)),
                     .phones = {},
                     .toFirst = R"({"t":"msg","to":")" + nameOf('d', 0) + R"(",)" + sealed() + "}",
                     .toAll = R"({"t":"notify","items":[)"};
    for (std::size_t i = 0; i < phones; ++i) {
        const std::string device = nameOf('d', i);
        clients.send(result.computer, R"({"t":"addDevice","device":")" + device + R"(","auth":")" +
                                          hash + R"(","invite":""})");
        result.toAll +=
            std::string(i == 0 ? "" : ",") + R"({"to":")" + device + R"(",)" + sealed() + "}";
    }
    result.toAll += "]}";
    // They have been written when this is answered.
    clients.send(result.computer, "ping");
    clients.awaitBeginning("pong");
    for (std::size_t i = 0; i < phones; ++i)
        result.phones.push_back(clients.connect(
            "/ws/" + channel + "?role=phone&device=" + nameOf('d', i) + "&auth=" + token,
            addressOf(number)));
    return result;
}

void awaitTexts(WebSocketClients& clients, std::string_view beginning, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        clients.awaitBeginning(beginning);
}

/// What it takes from sending until the last of so many texts is there, in milliseconds, many times
/// over; and the server's processor time for each time, in microseconds.
struct Deliveries {
    std::vector<double> times{};
    double cost = 0;

    template <typename Send>
    Deliveries(WebSocketClients& clients, const Process& server, std::string_view beginning,
               std::size_t texts, Send send) {
        constexpr std::size_t rounds = 2000;
        const auto before = server.processorTime();
        for (std::size_t i = 0; i < rounds; ++i) {
            const auto start = Clock::now();
            send(i);
            awaitTexts(clients, beginning, texts);
            times.push_back(Milliseconds(Clock::now() - start).count());
        }
        cost = std::chrono::duration<double, std::micro>(server.processorTime() - before).count() /
               rounds;
    }
};

} // namespace

void measureRelayServer() {
    constexpr double often = 0.99;
    const ScratchDirectory directory;
    const PeerServer relay = startRelay(directory);
    const PeerServer echo = startEcho();
    const double relayAlone = residentBytes(relay.process.id());
    const double echoAlone = residentBytes(echo.process.id());
    WebSocketClients clients(relay.port);
    WebSocketClients echoed(echo.port);
    std::vector<Household> households;
    for (std::size_t i = 0; i < computers; ++i)
        households.push_back(bring(clients, i, phonesOfEach));
    for (std::size_t i = 0; i < connections; ++i)
        echoed.connect("/");
    const auto each = [](double bytes, double alone) {
        return (bytes - alone) / kilobyte / connections;
    };
    print({"memory of one of 5,500 idle connections, vs a bare echo server",
           each(residentBytes(relay.process.id()), relayAlone),
           each(residentBytes(echo.process.id()), echoAlone), "KB", 2.0});

    const std::string text = households.front().toFirst;
    const Deliveries echoes(echoed, echo.process, R"({"t":"msg")", 1,
                            [&](std::size_t i) { echoed.send(i, text); });
    const Deliveries messages(clients, relay.process, R"({"t":"msg")", 1, [&](std::size_t i) {
        const Household& from = households[i % computers];
        clients.send(from.computer, from.toFirst);
    });
    print({"processor time of a message to a phone, vs an echo", messages.cost, echoes.cost, "us",
           2.0});
    print({"a message's time, half of them, vs an echo", median(messages.times),
           median(echoes.times), "ms", 1.5});
    print({"  of a hundred, the slowest", quantile(messages.times, often),
           quantile(echoes.times, often), "ms"});

    const Household large = bring(clients, computers, household);
    const Deliveries manyEchoes(echoed, echo.process, R"({"t":"msg")", household,
                                [&](std::size_t /*round*/) {
                                    for (std::size_t i = 0; i < household; ++i)
                                        echoed.send(i, text);
                                });
    const Deliveries notifications(
        clients, relay.process, R"({"t":"notify")", household,
        [&](std::size_t /*round*/) { clients.send(large.computer, large.toAll); });
    print({"processor time of a notification to 20 phones, vs 20 echoes", notifications.cost,
           manyEchoes.cost, "us", 1.5});
    print({"its time, half of them, vs 20 echoes", median(notifications.times),
           median(manyEchoes.times), "ms", 1.5});
    print({"  of a hundred, the slowest", quantile(notifications.times, often),
           quantile(manyEchoes.times, often), "ms"});
}

} // namespace bench
