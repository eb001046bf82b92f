#include <stdexcept>

#include "Events.h"
#include "Peers.h"
#include "ProcessorCost.h"
#include "Report.h"
#include "ScratchDaemon.h"
#include "Sections.h"
#include "Statistics.h"

namespace bench {

namespace {

constexpr int rounds = 9;
constexpr int requestsPerRound = 3000;

struct Measured {
    const Process* process;
    std::string request;
    std::uint16_t port;
    std::vector<double> costs{};

    Measured(const Process& server, std::uint16_t serverPort)
        : process(&server),
          request(events::post(serverPort, events::toolUse("0d2b8a44-load"))),
          port(serverPort) {}

    void runOnce(int count) {
        costs.push_back(
            costOf(*process, {.port = port, .requests = {&request, 1}, .count = count}));
    }
};

} // namespace

void measureDaemon() {
    const ScratchDirectory directory;
    const ScratchDaemon daemon("off");
    const PeerServer bare = startBareServer();
    const auto node = startNodeServer();
    const auto nginx = startNginx(directory);

    std::vector<Measured> all{{daemon.process(), daemon.port()}, {bare.process, bare.port}};
    for (const auto* peer : {node.get(), nginx.get()}) {
        if (peer)
            all.emplace_back(peer->process, peer->port);
    }
    for (Measured& server : all) {
        server.runOnce(requestsPerRound); // Until a script's compiler has seen it.
        server.costs.clear();
    }
    for (int round = 0; round < rounds; ++round) {
        for (Measured& server : all)
            server.runOnce(requestsPerRound);
    }
    if (daemon.loggedEvents() != (rounds + 1) * requestsPerRound)
        throw std::runtime_error("not every event is in the log");

    const double ours = median(all[0].costs);
    const double least = median(all[1].costs);
    print({"daemon, processor time an event, vs a bare epoll server", ours, least, "us", 2.0});
    if (node)
        print({"daemon, processor time an event, vs a bare Node server", ours, median(all[2].costs),
               "us", 0.5});
    else
        printRemark("node is not installed");
    if (nginx)
        print({"  for scale, nginx that only answers", median(all.back().costs), least, "us"});
    else
        printRemark("nginx is not installed");
}

} // namespace bench
