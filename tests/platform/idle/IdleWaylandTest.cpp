#include <csignal>

#include <gtest/gtest.h>

#include "FakeCompositor.h"
#include "platform/IdleSourceKinds.h"

using namespace std::chrono_literals;

namespace {

using Milliseconds = std::optional<std::chrono::milliseconds>;

class IdleWaylandTest : public testing::Test {
  protected:
    std::unique_ptr<IdleSource> sourceOf(const FakeCompositor& compositor) {
        return idle::waylandIdleSource(compositor.socket(), [this] { return now; });
    }

    std::chrono::steady_clock::time_point now{1h};
};

TEST_F(IdleWaylandTest, CountsFromTheMessageThatTheUserIsIdle) {
    FakeCompositor compositor;
    const auto source = sourceOf(compositor);
    EXPECT_EQ(source->read(), 0ms);
    ASSERT_TRUE(waitFor([&] { return compositor.notifications() == 1; }));
    const std::chrono::milliseconds told(compositor.timeout());
    EXPECT_LT(told, 2s);

    now += 5s;
    EXPECT_EQ(source->read(), 0ms) << "the user types";
    compositor.idle();
    now += 2s;
    EXPECT_EQ(source->read(), told) << "at least";
    now += 299s;
    EXPECT_EQ(source->read(), 299s + told);

    // Back and gone again between two readings.
    compositor.resume();
    compositor.idle();
    now += 2s;
    EXPECT_EQ(source->read(), told);
    compositor.resume();
    now += 2s;
    EXPECT_EQ(source->read(), 0ms);
}

TEST_F(IdleWaylandTest, InputAtAnySeatIsInput) {
    FakeCompositor compositor(FakeCompositor::Seats::two);
    const auto source = sourceOf(compositor);
    EXPECT_EQ(source->read(), 0ms);
    ASSERT_TRUE(waitFor([&] { return compositor.notifications() == 2; }));
    compositor.idle(0);
    EXPECT_EQ(source->read(), 0ms);
    now += 10s;
    compositor.idle(1);
    EXPECT_EQ(source->read(), 1s);
    now += 10s;
    EXPECT_EQ(source->read(), 11s);

    // Its last input device was unplugged; another one comes.
    compositor.removeSeat(1);
    EXPECT_EQ(source->read(), 21s);
    ASSERT_TRUE(waitFor([&] { return compositor.notifications() == 1; }));
    compositor.addSeat();
    EXPECT_EQ(source->read(), 0ms);
    EXPECT_TRUE(waitFor([&] { return compositor.notifications() == 2; }));
}

TEST_F(IdleWaylandTest, CompositorsThatTellNothingFailAndAreLeft) {
    FakeCompositor unable(FakeCompositor::Seats::one, FakeCompositor::Protocol::missing);
    EXPECT_EQ(sourceOf(unable)->read(), std::nullopt);
    FakeCompositor deviceless(FakeCompositor::Seats::none);
    EXPECT_EQ(sourceOf(deviceless)->read(), std::nullopt);
    EXPECT_EQ(idle::waylandIdleSource(unable.socket().parent_path() / "none")->read(),
              std::nullopt);
    EXPECT_EQ(idle::waylandIdleSource(std::string(200, 'x'))->read(), std::nullopt);
}

TEST_F(IdleWaylandTest, ACompositorThatHangsIsBounded) {
    FakeCompositor compositor;
    const auto connected = sourceOf(compositor);
    EXPECT_EQ(connected->read(), 0ms);
    compositor.signal(SIGSTOP);
    const auto unconnected = sourceOf(compositor);
    Milliseconds value = 1ms;
    // The later ones find the queue full.
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(isBounded([&] { value = unconnected->read(); }));
        EXPECT_EQ(value, std::nullopt);
    }
    EXPECT_TRUE(isBounded([&] { value = connected->read(); }));
    EXPECT_EQ(value, 0ms);
    compositor.signal(SIGCONT);
    compositor.idle();
    EXPECT_EQ(connected->read(), 1s);
}

TEST_F(IdleWaylandTest, WatchesAnewAfterTheConnectionWasLost) {
    FakeCompositor compositor;
    const auto source = sourceOf(compositor);
    EXPECT_EQ(source->read(), 0ms);
    ASSERT_TRUE(waitFor([&] { return compositor.notifications() == 1; }));
    compositor.idle();
    EXPECT_EQ(source->read(), 1s);
    compositor.restart();
    EXPECT_EQ(source->read(), 0ms);
    ASSERT_TRUE(waitFor([&] { return compositor.notifications() == 1; }));
    compositor.idle();
    EXPECT_EQ(source->read(), 1s);
}

TEST_F(IdleWaylandTest, ManyUnreadMessagesAreCaughtUpWith) {
    FakeCompositor compositor;
    const auto source = sourceOf(compositor);
    EXPECT_EQ(source->read(), 0ms);
    ASSERT_TRUE(waitFor([&] { return compositor.notifications() == 1; }));
    for (int i = 0; i < 50; ++i) {
        compositor.idle();
        compositor.resume();
    }
    compositor.idle();
    EXPECT_EQ(source->read(), 1s);
}

} // namespace
