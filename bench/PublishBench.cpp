#include <future>
#include <stdexcept>

#include "BareBroadcast.h"
#include "Events.h"
#include "Loopback.h"
#include "ProcessorCost.h"
#include "Report.h"
#include "ScratchDaemon.h"
#include "Sections.h"
#include "Statistics.h"
#include "StreamReaders.h"
#include "daemon/HookBody.h"
#include "daemon/Presence.h"
#include "daemon/Snapshot.h"

namespace bench {

namespace {

constexpr int rounds = 15;
constexpr int sessions = 1000;

std::string sessionId(int number) {
    std::string digits = std::to_string(number);
    return "7c1f0b52-3d8e-4a67-9a0f-" + std::string(12 - digits.size(), '0') + digits;
}

std::vector<std::string> eventsOfSessions(std::uint16_t port, int count) {
    std::vector<std::string> result;
    for (int i = 0; i < count; ++i)
        result.push_back(events::post(port, events::toolUse(sessionId(i))));
    return result;
}

// A daemon that has seen that many sessions.
struct Populated {
    ScratchDaemon daemon{"off"};
    std::vector<std::string> requests;

    explicit Populated(int count) : requests(eventsOfSessions(daemon.port(), count)) {
        run({.port = daemon.port(), .requests = requests, .count = count});
        requests.resize(10); // The measured events are those of the same few everywhere.
    }

    [[nodiscard]] double cost(int count) const {
        return costOf(daemon.process(),
                      {.port = daemon.port(), .requests = requests, .count = count});
    }
};

void measureUnwatched() {
    constexpr int eventsPerRound = 2000;
    const Populated few(10);
    const Populated many(10'000);
    std::vector<double> costOfFew;
    std::vector<double> costOfMany;
    for (int i = 0; i < rounds; ++i) {
        costOfFew.push_back(few.cost(eventsPerRound));
        costOfMany.push_back(many.cost(eventsPerRound));
    }
    print({"event nobody watches, 10,000 sessions vs 10", median(costOfMany), median(costOfFew),
           "us", 1.15});
}

// The encoding alone, in this process.
class Encoding {
  public:
    Encoding() {
        for (int i = 0; i < sessions; ++i)
            record(i);
        encode(m_warm);
    }

    // The microseconds of a snapshot after one event, nothing or everything remembered before.
    double cold() {
        record(0);
        SnapshotEncoder fresh;
        return encode(fresh);
    }
    double warm() {
        record(0);
        return encode(m_warm);
    }
    /// How many records the last but one event of a row made the encoder write anew.
    std::uint64_t encodedByOneEvent() {
        const std::uint64_t before = m_warm.encoded();
        warm();
        return m_warm.encoded() - before;
    }

  private:
    void record(int session) {
        m_now += 1;
        (void)m_activity.record(hookbody::parse(events::toolUse(sessionId(session))), "terminal",
                                m_now);
    }

    double encode(SnapshotEncoder& encoder) {
        std::string text;
        const SnapshotSource source{{}, m_activity, {}, JSONValue()};
        const double before = ownMicroseconds();
        encoder.append(text, source);
        return ownMicroseconds() - before;
    }

    Activity m_activity;
    SnapshotEncoder m_warm;
    double m_now = 1.7e12;
};

// What a snapshot costs when all but one event of it was encoded before, in microseconds.
double measureEncoding() {
    Encoding encoding;
    // The session of the event, and the event.
    print({"records encoded after one event, of 1,000 sessions",
           static_cast<double>(encoding.encodedByOneEvent()), 2, "", 1.0});
    std::vector<double> cold;
    std::vector<double> warm;
    for (int i = 0; i < rounds * 10; ++i) {
        cold.push_back(encoding.cold());
        warm.push_back(encoding.warm());
    }
    print({"  of 1,000 sessions, encoding one change vs everything", median(warm), median(cold),
           "us"});
    return median(warm);
}

void measureStreams(double encodingCost) {
    constexpr int streams = 100;
    const Populated populated(sessions);
    StreamReaders readers(populated.daemon.port(), populated.daemon.get("/events"), streams);
    const auto publish = [&] {
        const double cost = populated.cost(1);
        readers.awaitRecord();
        return cost;
    };
    publish();

    const std::uint16_t port = loopback::freePort();
    BareBroadcast bare(port, std::string(readers.recordSize() - 2, '.') + "\n\n");
    auto first = std::async(std::launch::async, [&] {
        bare.accept(streams);
        return bare.writeToAll();
    });
    StreamReaders bareReaders(port, "", streams);
    (void)first.get();

    std::vector<double> ours;
    std::vector<double> least;
    for (int i = 0; i < rounds; ++i) {
        const auto before = populated.daemon.process().processorTime();
        publish();
        populated.daemon.settle();
        const std::chrono::duration<double, std::micro> taken =
            populated.daemon.process().processorTime() - before;
        ours.push_back(taken.count());
        auto writing = std::async(std::launch::async, [&] { return bare.writeToAll(); });
        bareReaders.awaitRecord();
        least.push_back(writing.get() + encodingCost);
    }
    printRemark("each record has " + std::to_string(readers.recordSize()) + " bytes");
    // The reference encodes with everything at hand; in the daemon, 22 MB went through the
    // processor's caches since the last time.
    print({"publish to 100 streams, vs one encoding and bare writes", median(ours), median(least),
           "us", 1.5});
}

} // namespace

void measurePublish() {
    measureUnwatched();
    measureStreams(measureEncoding());
}

} // namespace bench
