#include "platform/IdleTime.h"

#include <gtest/gtest.h>

#include "platform/IdleUnit.h"

using namespace std::chrono_literals;

namespace {

struct FakeSource final : IdleSource {
    FakeSource(std::string_view text, FakeSource*& self) : label(text) { self = this; }
    [[nodiscard]] std::string_view name() const override { return label; }
    [[nodiscard]] std::optional<std::chrono::milliseconds> read() override {
        ++reads;
        return value;
    }

    std::string_view label;
    std::optional<std::chrono::milliseconds> value;
    int reads = 0;
};

class IdleTimeTest : public testing::Test {
  protected:
    IdleTimeTest() {
        IdleSources sources;
        sources.desktop.push_back(std::make_unique<FakeSource>("first", first));
        sources.desktop.push_back(std::make_unique<FakeSource>("second", second));
        sources.terminal.push_back(std::make_unique<FakeSource>("terminals", terminals));
        sources.terminalsCount = [this] { return terminalsCount; };
        idle.emplace(std::move(sources), [this] { return now; });
    }

    std::chrono::milliseconds readAfter(std::chrono::steady_clock::duration time) {
        now += time;
        return idle->sinceLastInput();
    }

    /// Ticks for a time, as the daemon does. What the last reading said.
    std::chrono::milliseconds tickFor(std::chrono::steady_clock::duration time) {
        for (const auto end = now + time - 2s; now < end;)
            (void)readAfter(2s);
        return readAfter(2s);
    }

    std::chrono::steady_clock::time_point now{100h};
    bool terminalsCount = false;
    FakeSource* first = nullptr;
    FakeSource* second = nullptr;
    FakeSource* terminals = nullptr;
    std::optional<IdleTime> idle;
};

TEST_F(IdleTimeTest, TheSmallestOfTheFirstDesktopSourceThatAnswersAndOfTheTerminals) {
    EXPECT_EQ(idle->sinceLastInput(), 0ms) << "no answer";
    now += 1min;
    first->value = 40s;
    second->value = 3s;
    terminals->value = 7s;
    EXPECT_EQ(readAfter(2s), 40s);
    EXPECT_EQ(idle->sourceName(), "first");
    terminalsCount = true;
    EXPECT_EQ(readAfter(2s), 7s);
    EXPECT_EQ(idle->sourceName(), "first, terminals");
    terminals->value = 90s;
    EXPECT_EQ(readAfter(5ms), 7s) << "another reading in the same turn";
    EXPECT_EQ(readAfter(30ms), 40s);
}

TEST_F(IdleTimeTest, AFailureIsForgivenOnceAndThenTheSourceIsLeftAloneForAMinute) {
    first->value = 400s;
    second->value = 1h;
    EXPECT_EQ(idle->sinceLastInput(), 400s);
    first->value.reset();
    EXPECT_EQ(readAfter(500ms), 400'500ms) << "a desktop that is busy for a moment";
    EXPECT_EQ(readAfter(2s), 1h);
    EXPECT_EQ(first->reads, 3);
    first->value = 1s;
    EXPECT_EQ(readAfter(59s), 1h);
    EXPECT_EQ(first->reads, 3);
    EXPECT_EQ(readAfter(1s), 1s);
}

TEST_F(IdleTimeTest, ASourceStuckJustNowIsNotBelievedWhileAnotherReportsMore) {
    for (FakeSource* const other : {second, terminals}) {
        terminalsCount = other == terminals;
        first->value = 0ms;
        other->value = 300s;
        EXPECT_EQ(tickFor(9min + 58s), 0ms);
        EXPECT_EQ(tickFor(6s), 300s);
        EXPECT_NE(idle->sourceName(), "first");
        EXPECT_EQ(idle->stuckSources(), std::vector<std::string>{"first"});
        other->value.reset();
        EXPECT_EQ(tickFor(4s), 0ms) << "believed where no other answers";
        first->value = 2s;
        EXPECT_EQ(readAfter(2s), 2s) << "it moves again";
        EXPECT_EQ(idle->stuckSources(), std::vector<std::string>());
    }
}

TEST_F(IdleTimeTest, ASourceThatIsSeldomLookedAtIsNotStuck) {
    first->value = 0ms;
    second->value = 300s;
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(readAfter(5min), 0s);
}

TEST(IdleUnit, MillisecondsStayMillisecondsWhileTheUserTypes) {
    IdleUnit unit;
    std::chrono::steady_clock::time_point now{1h};
    // Keys at every rhythm, seen by ticks that are never quite regular.
    for (std::uint64_t i = 0; i < 20'000; ++i, now += 1990ms + i % 21 * 1ms)
        ASSERT_EQ(unit.duration(i * 7919 % 1900, now), i * 7919 % 1900 * 1ms);
}

} // namespace
