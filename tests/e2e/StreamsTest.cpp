#include <vector>

#include <gtest/gtest.h>

#include "support/RunningDaemon.h"

namespace {

using namespace std::chrono_literals;

constexpr std::string_view head = "HTTP/1.1 200 OK\r\n"
                                  "content-type: text/event-stream\r\n"
                                  "cache-control: no-store\r\n"
                                  "connection: keep-alive\r\n\r\n";

std::string eventsRequest(const RunningDaemon& daemon) {
    return requestText("GET", "/events", daemon.tokenHeader());
}

JSONValue modeIn(const JSONValue& state) {
    return state["presence"] ? *(*state["presence"])["mode"] : JSONValue();
}

std::size_t countIn(const JSONValue& state, std::string_view list) {
    return state[list] && state[list]->array() ? state[list]->array()->size() : 999;
}

} // namespace

TEST(Streams, BringOneRecordForOneChange) {
    const RunningDaemon daemon({{"mode", "off"}});
    Client page(daemon.port());
    page.send(eventsRequest(daemon));
    EXPECT_EQ(page.through("\r\n\r\n"), head);
    const JSONValue first = page.record();
    EXPECT_EQ(first, daemon.state());
    EXPECT_EQ(modeIn(first), JSONValue("off"));

    daemon.post("/mode", JSONObject{{"mode", "on"}});
    EXPECT_EQ(modeIn(page.record()), JSONValue("on"));
    EXPECT_EQ(daemon.event(R"({"hook_event_name":"Notification"})").body, "");
    EXPECT_EQ(countIn(page.record(), "sessions"), 1U);

    // A question is an event first and waits then; the end of its waiting is one change.
    Client agent(daemon.port());
    agent.send(requestText("POST", "/hook", {}, permissionRequest("asking")));
    const JSONValue recorded = page.record();
    EXPECT_EQ(countIn(recorded, "sessions"), 2U);
    EXPECT_EQ(countIn(recorded, "pending"), 0U);
    const JSONValue waiting = page.record();
    ASSERT_EQ(countIn(waiting, "pending"), 1U);
    (void)daemon.answer((*waiting["pending"]->array())[0], {{"action", "allow"}});
    EXPECT_EQ(countIn(page.record(), "pending"), 0U);

    // Longer than it takes the daemon to look around.
    EXPECT_FALSE(page.hasSomething(2200ms));
    EXPECT_FALSE(agent.response().body.empty());
}

TEST(Streams, AllBringTheSameState) {
    const RunningDaemon daemon({{"mode", "off"}});
    std::vector<std::unique_ptr<Client>> pages;
    const std::string request = eventsRequest(daemon);
    for (int i = 0; i < 200; ++i) {
        pages.push_back(std::make_unique<Client>(daemon.port()));
        pages.back()->send(request);
    }
    for (const auto& page : pages) {
        ASSERT_EQ(page->through("\r\n\r\n"), head);
        ASSERT_EQ(modeIn(page->record()), JSONValue("off"));
    }
    daemon.post("/mode", JSONObject{{"mode", "on"}});
    const JSONValue state = pages.front()->record();
    EXPECT_EQ(modeIn(state), JSONValue("on"));
    for (std::size_t i = 1; i < pages.size(); ++i)
        ASSERT_EQ(pages[i]->record(), state) << i;
}

TEST(Streams, APageThatStopsReadingHoldsUpNobodyAndGetsTheNewestState) {
    const RunningDaemon daemon({{"mode", "off"}});
    Client stalled(daemon.port(), 4096);
    stalled.send(eventsRequest(daemon));
    EXPECT_EQ(stalled.through("\r\n\r\n"), head);
    Client reader(daemon.port());
    reader.send(eventsRequest(daemon));
    EXPECT_EQ(reader.through("\r\n\r\n"), head);
    (void)reader.record();

    // All the states together have about 70 MB.
    constexpr int sessions = 12;
    const std::string message(1'000'000, 'm');
    std::size_t sent = 0;
    for (int i = 0; i < sessions; ++i) {
        const JSONObject event{{"hook_event_name", "Notification"},
                               {"session_id", "session " + std::to_string(i)},
                               {"last_assistant_message", message}};
        EXPECT_EQ(daemon.event(json::compact(event).value()).statusLine, "HTTP/1.1 200 OK");
        EXPECT_EQ(countIn(reader.record(), "sessions"), static_cast<std::size_t>(i) + 1);
        sent = reader.received();
    }
    daemon.post("/mode", JSONObject{{"mode", "on"}});
    EXPECT_EQ(modeIn(reader.record()), JSONValue("on"));

    JSONValue state;
    std::size_t records = 0;
    do {
        const std::size_t before = countIn(state, "sessions");
        state = stalled.record();
        ASSERT_TRUE(state.object()) << "record " << records << " is not whole";
        EXPECT_TRUE(records == 0 || countIn(state, "sessions") >= before);
        ++records;
    } while (modeIn(state) != JSONValue("on"));
    EXPECT_EQ(countIn(state, "sessions"), std::size_t{sessions});
    EXPECT_LT(stalled.received(), sent / 2);
    EXPECT_FALSE(stalled.hasSomething(100ms));
}
