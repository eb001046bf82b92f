#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "platform/DescriptorLimit.h"
#include "platform/SocketPoller.h"
#include "platform/TCPSocket.h"
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

TEST(SocketPoller, ForgetsTakenEventsOfARemovedSocketWhoseNumberIsInUseAgain) {
    SocketPoller poller;
    Pair pairs[2];
    const Pair successor;
    int calls = 0;
    int callsOfSuccessor = 0;
    for (auto& pair : pairs) {
        pair.sendFromTheirs();
        Descriptor& other = (&pair == pairs ? pairs[1] : pairs[0]).ours;
        poller.add(pair.ours.number(), SocketPoller::readable, [&](std::uint32_t) {
            ++calls;
            const int number = other.number();
            poller.remove(pair.ours.number());
            poller.remove(number);
            other.reset();
            other = Descriptor(fcntl(successor.ours.number(), F_DUPFD, number));
            ASSERT_EQ(other.number(), number);
            poller.add(number, SocketPoller::readable, [&](std::uint32_t) { ++callsOfSuccessor; });
        });
    }
    ASSERT_TRUE(eventually([&] { return calls > 0; }));
    runDueEvents();
    EXPECT_TRUE(calls == 1 && callsOfSuccessor == 0);
}

TEST(SocketPoller, MayBeDestroyedByACallback) {
    auto poller = std::make_unique<SocketPoller>();
    const Pair pairs[3];
    int calls = 0;
    for (const auto& pair : pairs) {
        pair.sendFromTheirs();
        // The text is looked at after the callback's owner is gone.
        poller->add(pair.ours.number(), SocketPoller::readable,
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
    constexpr int count = 4 * SocketPoller::eventsPerTurn;
    SocketPoller poller;
    const std::vector<Pair> pairs(count);
    int calls = 0;
    int callsBeforeTheTimer = count;
    for (const auto& pair : pairs) {
        pair.sendFromTheirs();
        poller.add(pair.ours.number(), SocketPoller::readable, [&](std::uint32_t) {
            if (++calls == 1)
                QTimer::singleShot(0, [&] { callsBeforeTheTimer = calls; });
            poller.remove(pair.ours.number());
        });
    }
    ASSERT_TRUE(eventually([&] { return calls == count; }));
    EXPECT_LE(callsBeforeTheTimer, 2 * SocketPoller::eventsPerTurn);
}

TEST(TCPAddress, KnowsLoopbackAddressesAndNoNames) {
    for (const char* const literal : {"127.0.0.1", "127.255.255.254", "::1", "::ffff:127.9.9.9"})
        EXPECT_TRUE(tcp::Address::parse(literal, 80).value().isLoopback()) << literal;
    for (const char* const literal :
         {"128.0.0.1", "0.0.0.0", "::", "::ffff:10.0.0.1", "::127.0.0.1"})
        EXPECT_FALSE(tcp::Address::parse(literal, 80).value().isLoopback()) << literal;
    using namespace std::string_view_literals;
    for (const auto text : {""sv, "localhost"sv, "127.1"sv, "[::1]"sv, "127.0.0.1\0.example"sv})
        EXPECT_FALSE(tcp::Address::parse(text, 80).has_value()) << text;
}

TEST(DescriptorLimit, IsRaisedAndPutBack) {
    rlimit now{};
    getrlimit(RLIMIT_NOFILE, &now);
    const rlimit before = std::exchange(now, {256, now.rlim_max});
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &now), 0);
    {
        const DescriptorLimit limit;
        getrlimit(RLIMIT_NOFILE, &now);
        EXPECT_EQ(now.rlim_cur, before.rlim_max);
        limit.restore();
        getrlimit(RLIMIT_NOFILE, &now);
        EXPECT_EQ(now.rlim_cur, 256U);
    }
    setrlimit(RLIMIT_NOFILE, &before);
}

} // namespace
