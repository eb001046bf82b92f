#include "platform/PeerOwner.h"

#include "hook/HookRun.h"

namespace {

using Knowledge = PeerOwner::Knowledge;

constexpr uid_t stranger = 65534;

TEST(PeerOwner, IsTheListenersThenTheAcceptersWhateverTheFamily) {
    const uid_t user = ::getuid() == 0 ? stranger : ::getuid();
    const Endpoint any6{.family = AF_INET6};
    const Endpoint loopback6 = loopbackCandidates("::1", 1).at(0);
    for (const auto& [listen, call] : {std::pair(loopback4, loopback4), std::pair(any6, loopback4),
                                       std::pair(any6, loopback6)}) {
        const FakeDaemon daemon(listen, 16, user);
        const auto caller = daemon.call(call);
        const Endpoint own = FakeDaemon::ownEnd(caller);
        const Endpoint peer{call.family, call.address, daemon.port()};
        const auto waiting = peerOwner(own, peer);
        const auto accepted = daemon.accept();
        for (const auto& found : {waiting, peerOwner(own, peer)}) {
            EXPECT_EQ(found.knowledge, Knowledge::known);
            EXPECT_EQ(found.user, user);
        }
    }
}

TEST(PeerOwner, OnlyARefusedQuestionIsNoAnswer) {
    EXPECT_FALSE((PeerOwner{Knowledge::nobody, 42}).mayBe(42));
    EXPECT_TRUE((PeerOwner{Knowledge::refused, 0}).mayBe(42));
}

TEST(PeerOwner, AStrangerHearsNothingFromTheHook) {
    if (::getuid() != 0)
        GTEST_SKIP() << "needs root to listen as another user";
    const FakeDaemon daemon(loopback4, 16, stranger);
    for (const std::string heard : {"", "{}"}) {
        HookRun run(daemon.home, "{}");
        const auto connection = daemon.accept();
        EXPECT_EQ(requestOf(connection).empty(), heard.empty());
        send(connection, okReply(heard));
        EXPECT_EQ(run.output(), heard);
        // Once the file is the stranger's, the stranger's daemon is the right one.
        ASSERT_EQ(::chown((daemon.home / "config.json").c_str(), stranger, stranger), 0);
    }
}

} // namespace
