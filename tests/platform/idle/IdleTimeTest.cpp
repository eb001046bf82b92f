#include "platform/IdleTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

using Milliseconds = std::optional<std::chrono::milliseconds>;

class FakeSource final : public IdleSource {
  public:
    FakeSource(std::string name, FakeSource*& self) : m_name(std::move(name)) { self = this; }
    [[nodiscard]] std::string_view name() const override { return m_name; }
    [[nodiscard]] Milliseconds read() override {
        ++reads;
        return value;
    }

    Milliseconds value;
    int reads = 0;

  private:
    std::string m_name;
};

class IdleTimeTest : public testing::Test {
  protected:
    IdleTimeTest() {
        IdleSources sources;
        sources.desktop.push_back(std::make_unique<FakeSource>("first", first));
        sources.desktop.push_back(std::make_unique<FakeSource>("second", second));
        sources.terminal.push_back(std::make_unique<FakeSource>("terminals", terminals));
        sources.terminal.push_back(std::make_unique<FakeSource>("logind", logind));
        sources.terminalsCount = [this] { return terminalsCount; };
        idle.emplace(std::move(sources), [this] { return now; });
        idle->onSourceChanged([this](const std::string& name) { names.push_back(name); });
    }

    std::chrono::milliseconds readAfter(std::chrono::steady_clock::duration time) {
        now += time;
        return idle->sinceLastInput();
    }

    /// Ticks for a time, as the daemon does.
    void tickFor(std::chrono::steady_clock::duration time) {
        for (const auto end = now + time; now < end;)
            (void)readAfter(2s);
    }

    std::chrono::steady_clock::time_point now{100h};
    bool terminalsCount = false;
    FakeSource* first = nullptr;
    FakeSource* second = nullptr;
    FakeSource* terminals = nullptr;
    FakeSource* logind = nullptr;
    std::optional<IdleTime> idle;
    std::vector<std::string> names;
};

TEST_F(IdleTimeTest, NothingIsAskedBeforeTheFirstReadingAndNoAnswerIsZero) {
    EXPECT_EQ(first->reads + second->reads + terminals->reads + logind->reads, 0);
    EXPECT_EQ(idle->sinceLastInput(), 0ms);
    EXPECT_THAT(names, ElementsAre(""));
}

TEST_F(IdleTimeTest, TheFirstDesktopSourceThatAnswersSpeaksForAll) {
    first->value = 40s;
    second->value = 3s;
    EXPECT_EQ(idle->sinceLastInput(), 40s);
    EXPECT_EQ(second->reads, 0);
    EXPECT_EQ(terminals->reads, 0);

    terminalsCount = true;
    terminals->value = 7s;
    logind->value = 50s;
    EXPECT_EQ(readAfter(2s), 7s);
    terminals->value = 90s;
    EXPECT_EQ(readAfter(2s), 40s);
    EXPECT_THAT(names, ElementsAre("first", "first, terminals, logind"));
}

TEST_F(IdleTimeTest, OneReadingServesATurnAndNoMore) {
    first->value = 5s;
    EXPECT_EQ(idle->sinceLastInput(), 5s);
    first->value = 6s;
    EXPECT_EQ(readAfter(5ms), 5s);
    EXPECT_EQ(first->reads, 1);
    EXPECT_EQ(readAfter(30ms), 6s);
}

TEST_F(IdleTimeTest, AFailureIsForgivenOnceAndThenTheSourceIsLeftAloneForAMinute) {
    first->value = 400s;
    second->value = 1h;
    EXPECT_EQ(idle->sinceLastInput(), 400s);
    first->value.reset();
    EXPECT_EQ(readAfter(500ms), 400'500ms) << "a desktop that is busy for a moment";
    EXPECT_EQ(readAfter(500ms), 401s) << "not asked again within a second";
    EXPECT_EQ(first->reads, 2);
    EXPECT_EQ(readAfter(2s), 1h);
    EXPECT_EQ(first->reads, 3);

    first->value = 1s;
    EXPECT_EQ(readAfter(59s), 1h);
    EXPECT_EQ(first->reads, 3);
    EXPECT_EQ(readAfter(1s), 1s);
    EXPECT_THAT(names, ElementsAre("first", "second", "first"));
}

TEST_F(IdleTimeTest, AnOldAnswerIsNotCountedOnFrom) {
    first->value = 10s;
    EXPECT_EQ(idle->sinceLastInput(), 10s);
    first->value.reset();
    EXPECT_EQ(readAfter(1h), 0ms);
}

TEST_F(IdleTimeTest, ASourceStuckJustNowIsNotBelievedWhileAnotherReportsMore) {
    first->value = 0ms;
    second->value = 300s;
    tickFor(9min + 58s);
    EXPECT_EQ(idle->sinceLastInput(), 0ms);
    EXPECT_EQ(second->reads, 0);
    tickFor(6s);
    EXPECT_EQ(idle->sinceLastInput(), 300s);
    EXPECT_EQ(idle->sourceName(), "second");

    second->value.reset();
    tickFor(4s);
    EXPECT_EQ(idle->sinceLastInput(), 0ms) << "believed where no other answers";

    second->value = 300s;
    tickFor(1min);
    EXPECT_EQ(idle->sinceLastInput(), 300s);
    first->value = 2s;
    EXPECT_EQ(readAfter(2s), 2s) << "it moves again";
    first->value = 0ms;
    EXPECT_EQ(readAfter(2s), 0ms);
}

TEST_F(IdleTimeTest, ATypistWhoIsSeenPausingIsNeverStuck) {
    first->value = 0ms;
    second->value = 300s;
    for (int i = 0; i < 4; ++i) {
        tickFor(9min);
        first->value = 2s;
        tickFor(2s);
        first->value = 0ms;
    }
    EXPECT_EQ(second->reads, 0);
}

TEST_F(IdleTimeTest, ReadingsFarApartDoNotMakeASourceStuck) {
    first->value = 1s;
    second->value = 300s;
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(readAfter(5min), 1s);
}

TEST_F(IdleTimeTest, AStuckDesktopDoesNotHideTheTerminals) {
    terminalsCount = true;
    first->value = 0ms;
    terminals->value = 310s;
    tickFor(10min + 2s);
    EXPECT_EQ(idle->sinceLastInput(), 310s);
    EXPECT_EQ(idle->sourceName(), "terminals");
}

} // namespace
