#include "platform/IdleUnit.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

using Time = std::chrono::steady_clock::time_point;

/// What a service says that counts in the given unit, at a time, after the last input.
std::uint64_t countIn(std::chrono::milliseconds unit, Time now, Time input) {
    return static_cast<std::uint64_t>((now - input) / unit);
}

TEST(IdleUnit, SecondsAreFoundWithinTwelveSecondsOfIdlenessAndKept) {
    IdleUnit unit;
    Time now{1h};
    const Time input = now - 137'300ms;
    for (int tick = 0; tick < 6; ++tick, now += 2s)
        EXPECT_LE(unit.duration(countIn(1s, now, input), now), now - input);
    EXPECT_EQ(unit.duration(countIn(1s, now, input), now), 149s);

    // The user comes back, and leaves.
    now += 2s;
    EXPECT_EQ(unit.duration(0, now), 0s);
    now += 60s;
    EXPECT_EQ(unit.duration(60, now), 60s);
}

TEST(IdleUnit, MillisecondsStayMillisecondsWhileTheUserTypes) {
    IdleUnit unit;
    Time now{1h};
    // Keys at every rhythm, seen by ticks that are never quite regular.
    for (int i = 0; i < 20'000; ++i) {
        now += 1990ms + std::chrono::milliseconds(i % 21);
        const std::chrono::milliseconds sinceKey((i * 7919) % 1900);
        ASSERT_EQ(unit.duration(static_cast<std::uint64_t>(sinceKey.count()), now), sinceKey);
    }
    const Time input = now;
    for (int tick = 0; tick < 100; ++tick, now += 2s)
        ASSERT_EQ(unit.duration(countIn(1ms, now, input), now), now - input);
}

TEST(IdleUnit, AnotherServiceUnderTheSameNameIsFoundOut) {
    IdleUnit unit;
    Time now{1h};
    const Time input = now;
    for (int tick = 0; tick < 10; ++tick, now += 2s)
        (void)unit.duration(countIn(1s, now, input), now);
    EXPECT_EQ(unit.duration(countIn(1s, now, input), now), 20s);
    for (int tick = 0; tick < 2; ++tick, now += 2s)
        (void)unit.duration(countIn(1ms, now, input), now);
    EXPECT_EQ(unit.duration(countIn(1ms, now, input), now), now - input);
}

TEST(IdleUnit, ReadingsInQuickSuccessionNeitherProveNorDisprove) {
    IdleUnit unit;
    Time now{1h};
    const Time input = now - 50s;
    for (int request = 0; request < 2000; ++request, now += 10ms)
        (void)unit.duration(countIn(1s, now, input), now);
    EXPECT_EQ(unit.duration(countIn(1s, now, input), now), 70s);
}

TEST(IdleUnit, AnAbsurdCountDoesNotOverflow) {
    IdleUnit unit;
    EXPECT_GT(unit.duration(~std::uint64_t{0}, Time{1h}), 0ms);
}

} // namespace
