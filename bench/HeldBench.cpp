#include <stdexcept>

#include "Events.h"
#include "Loopback.h"
#include "Memory.h"
#include "ProcessorCost.h"
#include "Report.h"
#include "ScratchDaemon.h"
#include "Sections.h"
#include "Statistics.h"
#include "core/JSONValue.h"

namespace bench {

namespace {

constexpr int held = 5000;
constexpr int rounds = 15;
constexpr int eventsPerRound = 1000;

// The connections on which questions wait.
std::vector<Descriptor> ask(const ScratchDaemon& daemon, int count) {
    const std::string question =
        events::post(daemon.port(), events::question("7c1f0b52-3d8e-4a67-9a0f-2b6f1f4f9e10"));
    std::vector<Descriptor> connections;
    connections.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        connections.push_back(loopback::connect(daemon.port()));
        loopback::sendAll(connections.back(), question);
    }
    daemon.settle();
    return connections;
}

int waitingItems(const ScratchDaemon& daemon) {
    const std::string reply = loopback::exchange(daemon.port(), daemon.get("/state"));
    const auto state = JSONValue::parse(reply.substr(reply.find("\r\n\r\n") + 4));
    const JSONValue* pending = state ? (*state)["pending"] : nullptr;
    return pending && pending->array() ? static_cast<int>(pending->array()->size()) : -1;
}

// An event's cost on a daemon that is otherwise left alone.
class Probe {
  public:
    explicit Probe(const ScratchDaemon& daemon)
        : m_daemon(daemon), m_request(events::post(daemon.port(), events::toolUse("probe"))) {}

    // One at a time: what an agent sees.
    void runOnce() {
        const auto before = std::chrono::steady_clock::now();
        m_costs.push_back(costOf(m_daemon.process(), {.port = m_daemon.port(),
                                                      .requests = {&m_request, 1},
                                                      .count = eventsPerRound,
                                                      .atOnce = 1}));
        const std::chrono::duration<double, std::micro> elapsed =
            std::chrono::steady_clock::now() - before;
        m_elapsed.push_back(elapsed.count() / eventsPerRound);
    }
    [[nodiscard]] double cost() const { return median(m_costs); }
    [[nodiscard]] double elapsed() const { return median(m_elapsed); }

  private:
    const ScratchDaemon& m_daemon;
    std::string m_request;
    std::vector<double> m_costs;
    std::vector<double> m_elapsed;
};

} // namespace

void measureHeld() {
    constexpr double kilobyte = 1024;
    constexpr double limit = 6;
    const ScratchDaemon daemon("on");
    const ScratchDaemon idle("on");
    Probe busyProbe(daemon);
    Probe idleProbe(idle);
    busyProbe.runOnce(); // Memory that any event takes is there before the first is held.
    idleProbe.runOnce();
    daemon.settle();
    // Resident, not proportional: who else maps the libraries meanwhile does not matter then.
    const double before = residentBytes(daemon.process().id());
    const auto connections = ask(daemon, held);
    const double after = residentBytes(daemon.process().id());
    print({"held request, memory each at 5,000, vs its limit", (after - before) / held / kilobyte,
           limit, "KB", 1.0});
    for (int i = 0; i < rounds; ++i) {
        busyProbe.runOnce();
        idleProbe.runOnce();
    }
    if (waitingItems(daemon) != held)
        throw std::runtime_error("not every question was held");
    print({"one event, processor time, 5,000 held vs none", busyProbe.cost(), idleProbe.cost(),
           "us", 1.3});
    print({"one event, round trip, 5,000 held vs none", busyProbe.elapsed(), idleProbe.elapsed(),
           "us", 1.3});
}

} // namespace bench
