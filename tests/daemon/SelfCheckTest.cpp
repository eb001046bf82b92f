#include "daemon/SelfCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class SelfCheckTest : public testing::Test {
  protected:
    SelfCheck::Clock::time_point m_now{SelfCheck::Clock::duration(1'700'000'000s)};
    std::vector<AgentProcess> m_agents;
    std::vector<std::string> m_stuck;
    int m_searches = 0;
    std::optional<std::promise<std::vector<AgentProcess>>> m_slowSearch;
    std::vector<std::string> m_lines;
    std::vector<std::string> m_notes;
    bool m_isKept = true;
    std::optional<SelfCheck> m_check;

    void start(std::optional<SelfCheck::Clock::time_point> lastEvent) {
        m_check.emplace(
            SelfCheck::Surroundings{.agents =
                                        [this] {
                                            ++m_searches;
                                            if (m_slowSearch)
                                                return m_slowSearch->get_future();
                                            std::promise<std::vector<AgentProcess>> found;
                                            found.set_value(m_agents);
                                            return found.get_future();
                                        },
                                    .stuckIdleSources = [this] { return m_stuck; },
                                    .note =
                                        [this](const JSONObject& note) {
                                            m_notes.push_back(json::compact(note).value());
                                            return m_isKept;
                                        },
                                    .now = [this] { return m_now; }},
            [this](const LogMessage& message) { m_lines.emplace_back(message.text); }, lastEvent);
    }

    /// Lets the time pass, looking every two seconds like the daemon.
    void pass(std::chrono::seconds time) {
        for (; time > 0s; time -= 2s) {
            m_now += 2s;
            m_check->look({});
        }
    }

    void runs(AgentProcess::Agent agent) {
        m_agents.push_back({.agent = agent, .process = 7, .started = m_now});
    }
};

TEST_F(SelfCheckTest, NoticesADayWithoutEventsOnceAnAgentHasBeenThereForAnHour) {
    start(std::nullopt);
    runs(AgentProcess::Agent::claude);
    pass(23h + 59min);
    EXPECT_EQ(m_searches, 0);
    EXPECT_THAT(m_notes, IsEmpty());
    pass(2min);
    runs(AgentProcess::Agent::codex);
    pass(50min);
    EXPECT_THAT(m_notes,
                ElementsAre(R"({"hookSilence":{"agents":["claude"],"since":1700000000000}})"));
    pass(30min);
    EXPECT_THAT(m_notes, ElementsAre(testing::_, testing::HasSubstr(R"(["claude","codex"])")));
    EXPECT_THAT(m_lines,
                ElementsAre("tamsell: no hook event for a day while an agent runs: claude"));
    EXPECT_LE(m_searches, 10);
    m_check->eventArrived();
    pass(2s);
    EXPECT_EQ(m_notes.back(), "{}");
    // And anew a day later.
    pass(25h);
    EXPECT_EQ(m_lines.size(), 2U);
}

TEST_F(SelfCheckTest, CountsTheSilenceFromTheLastEventOfAnEarlierRunAndFromNoFuture) {
    start(m_now - 30h);
    runs(AgentProcess::Agent::codex);
    pass(59min);
    EXPECT_THAT(m_notes, IsEmpty());
    pass(2min);
    EXPECT_THAT(m_notes,
                ElementsAre(R"({"hookSilence":{"agents":["codex"],"since":1699892000000}})"));
    // The clock is set back by a year, and goes on.
    m_now -= 24h * 365;
    m_agents.clear();
    runs(AgentProcess::Agent::codex);
    pass(2s);
    EXPECT_EQ(m_notes.back(), "{}");
    pass(24h + 2min);
    EXPECT_NE(m_notes.back(), "{}");
    m_notes.clear();
    start(m_now + 24h);
    pass(25h);
    EXPECT_EQ(m_notes.size(), 1U);
}

TEST_F(SelfCheckTest, DoesNotWaitForASearchAndDoesNotBeginASecond) {
    start(m_now - 30h);
    runs(AgentProcess::Agent::claude);
    m_slowSearch.emplace();
    pass(3h);
    EXPECT_EQ(m_searches, 1);
    EXPECT_THAT(m_notes, IsEmpty());
    m_slowSearch->set_value(m_agents);
    m_check->look({});
    EXPECT_THAT(m_notes, ElementsAre(testing::HasSubstr("hookSilence")));
}

TEST_F(SelfCheckTest, RepeatsANoteThatWasNotKept) {
    start(std::nullopt);
    m_isKept = false;
    m_check->look({{}, 401});
    m_check->look({{}, 401});
    m_isKept = true;
    m_check->look({});
    m_check->look({});
    EXPECT_EQ(m_notes.size(), 3U);
    EXPECT_EQ(m_notes.back(), "{}");
    EXPECT_EQ(m_lines.size(), 1U);
}

TEST_F(SelfCheckTest, SaysEachOtherTroubleOnceAndWhenItIsOver) {
    start(std::nullopt);
    const auto full = std::make_error_code(std::errc::no_space_on_device);
    m_check->look({full, std::nullopt});
    m_stuck = {"X11"};
    for (int i = 0; i < 3; ++i) {
        m_now += 1s;
        m_check->look({full, 401});
    }
    m_stuck.clear();
    m_check->look({{}, 403});
    for (const int notOurFault : {101, 302, 408, 429, 500, 503})
        m_check->look({{}, notOurFault});
    EXPECT_THAT(
        m_notes,
        ElementsAre(R"({"eventsLog":{"error":"No space left on device","since":1700000000000}})",
                    R"({"eventsLog":{"error":"No space left on device","since":1700000000000},)"
                    R"("relayRefusal":{"since":1700000001000,"status":401},)"
                    R"("stuckIdleSource":{"since":1700000001000,"sources":["X11"]}})",
                    R"({"relayRefusal":{"since":1700000001000,"status":403}})", "{}"));
    EXPECT_THAT(m_lines,
                ElementsAre("tamsell: cannot write the events log: No space left on device",
                            "tamsell: this idle source is stuck: X11",
                            "tamsell: the relay refuses this computer (HTTP 401)"));
}

} // namespace
