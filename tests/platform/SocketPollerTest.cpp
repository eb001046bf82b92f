#include "platform/SocketPoller.h"

#include <cerrno>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "platform/Descriptor.h"
#include "support/Eventually.h"

namespace {

struct Pair {
    Pair() {
        int numbers[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, numbers), 0);
        ours = Descriptor(numbers[0]);
        theirs = Descriptor(numbers[1]);
    }
    void sendFromTheirs() const { EXPECT_EQ(send(theirs.number(), "x", 1, 0), 1); }

    Descriptor ours;
    Descriptor theirs;
};

TEST(SocketPoller, ReportsWhatIsAskedForUntilItIsTakenAway) {
    SocketPoller poller;
    const Pair pair;
    std::vector<std::uint32_t> seen;
    poller.add(pair.ours.number(), SocketPoller::readable, [&](std::uint32_t readiness) {
        seen.push_back(readiness);
        if (seen.size() == 2) {
            poller.setInterest(pair.ours.number(), SocketPoller::writable);
        } else if (seen.size() == 3) {
            poller.setInterest(pair.ours.number(), 0);
        }
    });
    runDueEvents();
    EXPECT_TRUE(seen.empty());
    pair.sendFromTheirs(); // Nobody reads it, so it is reported again.
    ASSERT_TRUE(eventually([&] { return seen.size() == 3; }));
    runDueEvents();
    EXPECT_EQ(seen, (std::vector<std::uint32_t>{SocketPoller::readable, SocketPoller::readable,
                                                SocketPoller::writable}));
}

TEST(SocketPoller, ReportsAHangUpWithoutAnyInterest) {
    SocketPoller poller;
    Pair pair;
    std::uint32_t seen = 0;
    poller.add(pair.ours.number(), 0, [&](std::uint32_t readiness) {
        seen = readiness;
        poller.remove(pair.ours.number());
    });
    pair.theirs.reset();
    ASSERT_TRUE(eventually([&] { return seen != 0; }));
    EXPECT_EQ(seen, SocketPoller::failed);
}

TEST(SocketPoller, ForgetsTakenEventsOfARemovedSocketWhoseNumberIsInUseAgain) {
    SocketPoller poller;
    Pair first;
    Pair second;
    const Pair successor;
    int calls = 0;
    int callsOfSuccessor = 0;
    const auto replaceOther = [&](Descriptor& other) {
        ++calls;
        const int number = other.number();
        poller.remove(number);
        other.reset();
        other = Descriptor(fcntl(successor.ours.number(), F_DUPFD, number));
        ASSERT_EQ(other.number(), number);
        poller.add(number, SocketPoller::readable, [&](std::uint32_t) { ++callsOfSuccessor; });
    };
    poller.add(first.ours.number(), SocketPoller::readable, [&](std::uint32_t) {
        poller.remove(first.ours.number());
        replaceOther(second.ours);
    });
    poller.add(second.ours.number(), SocketPoller::readable, [&](std::uint32_t) {
        poller.remove(second.ours.number());
        replaceOther(first.ours);
    });
    first.sendFromTheirs();
    second.sendFromTheirs();
    ASSERT_TRUE(eventually([&] { return calls > 0; }));
    runDueEvents();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(callsOfSuccessor, 0);
}

TEST(SocketPoller, MayBeDestroyedByACallback) {
    auto poller = std::make_unique<SocketPoller>();
    std::vector<std::unique_ptr<Pair>> pairs;
    int calls = 0;
    for (int i = 0; i < 3; ++i) {
        pairs.push_back(std::make_unique<Pair>());
        pairs.back()->sendFromTheirs();
        // The text is looked at after the callback's owner is gone.
        poller->add(pairs.back()->ours.number(), SocketPoller::readable,
                    [&calls, &poller, text = std::string(100, 'a')](std::uint32_t) {
                        poller.reset();
                        calls += text == std::string(100, 'a') ? 1 : 0;
                    });
    }
    ASSERT_TRUE(eventually([&] { return calls > 0; }));
    runDueEvents();
    EXPECT_EQ(calls, 1);
}

TEST(SocketPoller, LetsTheLoopTurnWhileManySocketsAreReady) {
    SocketPoller poller;
    std::vector<std::unique_ptr<Pair>> pairs;
    int calls = 0;
    int callsBeforeTheTimer = -1;
    QTimer::singleShot(0, [&] {
        // From here on the sockets are ready too.
        QTimer::singleShot(0, [&] { callsBeforeTheTimer = calls; });
    });
    for (int i = 0; i < 4 * SocketPoller::eventsPerTurn; ++i) {
        pairs.push_back(std::make_unique<Pair>());
        pairs.back()->sendFromTheirs();
        const int number = pairs.back()->ours.number();
        poller.add(number, SocketPoller::readable, [&, number](std::uint32_t) {
            ++calls;
            poller.remove(number);
        });
    }
    ASSERT_TRUE(eventually([&] { return calls == 4 * SocketPoller::eventsPerTurn; }));
    EXPECT_GE(callsBeforeTheTimer, 0);
    EXPECT_LE(callsBeforeTheTimer, 2 * SocketPoller::eventsPerTurn);
}

} // namespace
