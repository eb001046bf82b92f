#include <gtest/gtest.h>

#include "FakeBus.h"
#include "platform/IdleBus.h"
#include "platform/IdleSourceKinds.h"

using namespace std::chrono_literals;

namespace {

constexpr std::uint32_t user = 1000;

class IdleLoginTest : public testing::Test {
  protected:
    /// The microseconds since 1970 at so long before now.
    std::uint64_t ago(std::chrono::seconds time) const {
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::microseconds>((wall - time).time_since_epoch())
                .count());
    }

    void say(std::initializer_list<LoginSession> sessions) {
        std::ranges::copy(sessions, service.state->sessions.begin());
        service.state->sessionCount = static_cast<int>(sessions.size());
    }

    PrivateBus bus;
    FakeService service{bus, ServiceKind::login};
    std::chrono::system_clock::time_point wall{
        std::chrono::sys_days(std::chrono::year(2025) / 3 / 9)};
    std::chrono::steady_clock::time_point now{1h};
    idle::LoginSessions logins{std::make_shared<IdleBus>(bus.address()), user,
                               [this] { return wall; }, [this] { return now; }};
};

TEST_F(IdleLoginTest, TheNewestInputOfTheUsersSessionsThatTellOfIt) {
    EXPECT_EQ(logins.read(), std::nullopt) << "nobody is logged in";

    say({{.userId = user, .idleSince = ago(400s)},
         {.userId = user, .isRemote = 1, .idleSince = ago(42s)},
         {.userId = user, .type = "unspecified"},
         {.userId = user, .type = "wayland", .idleSince = ago(1s)},
         {.userId = user, .sessionClass = "greeter", .idleSince = ago(2s)},
         {.userId = user, .state = "closing", .idleSince = ago(3s)},
         {.userId = user + 1, .isRemote = 1, .idleSince = ago(4s)}});
    EXPECT_EQ(logins.read(), 42s);

    say({{.userId = user, .type = "wayland", .isIdle = 1, .idleSince = ago(33s)},
         {.userId = user, .idleSince = ago(42s)}});
    EXPECT_EQ(logins.read(), 33s) << "a desktop that does tell";

    say({{.userId = user, .type = "x11", .idleSince = ago(1s)}});
    EXPECT_EQ(logins.read(), std::nullopt) << "one that says 'not idle' may say so for ever";
}

TEST_F(IdleLoginTest, RemoteSessionsAreNoticedWithinTenSeconds) {
    say({{.userId = user, .idleSince = ago(5s)}, {.userId = user + 1, .isRemote = 1}});
    EXPECT_FALSE(logins.hasRemote());
    service.state->sessions[0].isRemote = 1;
    now += 8s;
    EXPECT_FALSE(logins.hasRemote());
    EXPECT_EQ(service.state->calls, 1) << "not asked at each tick";
    now += 2s;
    EXPECT_TRUE(logins.hasRemote());
    service.state->sessions[0].isRemote = 0;
    now += 2s;
    (void)logins.read();
    EXPECT_FALSE(logins.hasRemote()) << "a reading tells it too";
}

TEST_F(IdleLoginTest, AServiceThatNeverAnswersIsBoundedAndThenLeftAlone) {
    say({{.userId = user, .isRemote = 1}});
    EXPECT_TRUE(logins.hasRemote());
    service.state->isSilent = true;
    now += 10s;
    bool hasRemote = false;
    EXPECT_TRUE(isBounded([&] { hasRemote = logins.hasRemote(); }));
    EXPECT_TRUE(hasRemote) << "as it last said";
    EXPECT_EQ(service.state->calls, 2);
    now += 59s;
    (void)logins.hasRemote();
    EXPECT_EQ(service.state->calls, 2);
    service.state->isSilent = false;
    service.state->sessions[0].isRemote = 0;
    now += 1s;
    EXPECT_FALSE(logins.hasRemote());
}

} // namespace
