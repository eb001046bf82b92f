#include <csignal>
#include <cstdlib>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Config.h"
#include "core/JSONMember.h"
#include "support/PhoneDouble.h"
#include "support/RelayDouble.h"
#include "support/RunningDaemon.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

const std::string allowed = R"({"hookSpecificOutput":{"decision":{"behavior":"allow"},)"
                            R"("hookEventName":"PermissionRequest"}})";

PhoneDouble::Options phoneOptions(const RelayDouble& relay) {
    PhoneDouble::Options options;
    options.authorities = relay.authority();
    return options;
}

/// A relay, the real daemon that is away and set up with it, and one phone.
class RelayRoad : public testing::Test {
  protected:
    explicit RelayRoad(RelayDouble::Transport transport = RelayDouble::Transport::plain)
        : m_relay({transport, {}}), m_phone(phoneOptions(m_relay)) {
        if (!m_relay.authority().empty())
            ::setenv("TAMSELL_RELAY_CA", m_relay.authority().c_str(), 1);
        Config settings;
        settings.raw = {{"mode", "on"}, {"permissionWait", 600}, {"stopWait", 600}};
        settings.setRelay(Config::freshRelayConfig(m_relay.url()));
        m_daemon.emplace(settings.raw, RunningDaemon::Port::inTheSettings);
    }
    ~RelayRoad() override { ::unsetenv("TAMSELL_RELAY_CA"); }

    /// The link that the daemon shows now, once the relay knows of it.
    [[nodiscard]] std::string link() {
        EXPECT_TRUE(m_relay.waitUntil([&] { return m_relay.open() == 1; }));
        std::string link = *json::textOf(m_daemon->post("/pair", JSONObject{}).json(), "link");
        if (std::exchange(m_lastLink, link) != link)
            ++m_links;
        EXPECT_TRUE(
            m_relay.waitUntil([&] { return m_relay.received("invite").size() >= m_links; }));
        return link;
    }

    void pairAndConnect() {
        m_phone.pair(link(), "iPhone");
        connectPhone();
    }

    /// Also after the relay was away: the daemon comes back by itself.
    void connectPhone() {
        ASSERT_TRUE(m_relay.waitUntil([&] { return m_relay.open() == 1; }));
        m_phone.connect();
        m_phone.waitFor("state");
    }

    /// The daemon's own memory, in KiB.
    [[nodiscard]] long resident() {
        std::ifstream rollup("/proc/" + std::to_string(m_daemon->process().id()) + "/smaps_rollup");
        std::string word;
        long size = 0;
        while (rollup >> word)
            if (word == "Rss:")
                rollup >> size;
        return size;
    }

    RelayDouble m_relay;
    std::optional<RunningDaemon> m_daemon;
    PhoneDouble m_phone;
    std::string m_lastLink;
    std::size_t m_links = 0;
};

class RelayRoadOverTLS : public RelayRoad {
  protected:
    RelayRoadOverTLS() : RelayRoad(RelayDouble::Transport::tls) {}
};

} // namespace

TEST_F(RelayRoadOverTLS, AQuestionIsAnsweredByAPhoneAndTheRelayReadsNothing) {
    pairAndConnect();
    const JSONValue devices = m_daemon->get("/devices").json();
    EXPECT_EQ(*json::textOf(devices.array()->at(0), "id"), m_phone.identity().device);
    EXPECT_TRUE(json::isTrue(devices.array()->at(0), "online"));

    const auto hook = m_daemon->runHook("claude", permissionRequest("secret-session"));
    const JSONObject question = m_phone.waitFor("notify");
    EXPECT_EQ(*question.string("tool"), "Bash");
    EXPECT_EQ(*question.string("detail"), "make");
    EXPECT_TRUE(hook->isRunning());
    const JSONObject result =
        m_phone.resultOf(m_phone.answer(*question.string("target"), {{"action", "allow"}}));
    EXPECT_EQ(*result.find("ok"), JSONValue(true));
    EXPECT_EQ(hook->exitCode(), 0);
    EXPECT_EQ(hook->output(), allowed);
    const JSONObject cleared = m_phone.waitFor("clear");
    EXPECT_EQ(*cleared.find("targets"), JSONValue(JSONArray{*question.find("target")}));

    const JSONObject late =
        m_phone.resultOf(m_phone.answer(*question.string("target"), {{"action", "deny"}}));
    EXPECT_EQ(*late.string("error"), "已經回答過或已逾時");

    for (const std::string& frame : m_relay.received()) {
        EXPECT_THAT(frame, Not(HasSubstr("secret-session")));
        EXPECT_THAT(frame, Not(HasSubstr("Bash")));
    }
}

TEST_F(RelayRoad, APhoneStaysPairedOverARestartAndIsGoneWhenItIsRemoved) {
    pairAndConnect();
    const std::string usedLink = link();
    m_daemon->process().signal(SIGTERM);
    ASSERT_EQ(m_daemon->process().exitCode(), 0);
    m_daemon->restart();
    ASSERT_TRUE(m_relay.waitUntil([&] { return m_relay.open() == 1; }));
    m_phone.hello();
    m_phone.waitFor("state");

    // The earlier link is dead; what pairs is the next one.
    PhoneDouble::Options impatient;
    impatient.patience = 2s;
    EXPECT_THROW(PhoneDouble(impatient).pair(usedLink, "other"), std::runtime_error);
    EXPECT_TRUE(until([&] {
        return m_daemon->process().output().find("(no live invite)") != std::string::npos;
    }));
    PhoneDouble other;
    other.pair(link(), "other");

    EXPECT_EQ(m_daemon->post("/devices/remove", JSONObject{{"id", m_phone.identity().device}}).body,
              R"({"ok":true})");
    m_phone.waitForEnd();
    EXPECT_THAT([&] { m_phone.connect(); },
                testing::ThrowsMessage<std::runtime_error>(HasSubstr("HTTP 401")));
    EXPECT_EQ(m_daemon->get("/devices").json().array()->size(), 1U);
}

// Whatever the relay does meanwhile, the question waits on, and one answer reaches the agent.
TEST_F(RelayRoad, AQuestionOutlivesWhatARelayCanDo) {
    pairAndConnect();
    const auto again = [](const std::string& frame) { return std::vector{frame, frame, frame}; };
    std::vector<std::string> earlier;
    const auto reorder = [&earlier](const std::string& frame) -> std::vector<std::string> {
        // Every message comes behind the one that follows it, and once more at the end.
        earlier.push_back(frame);
        if (earlier.size() % 2 == 1)
            return {};
        return {earlier.back(), earlier[earlier.size() - 2], earlier.back()};
    };
    const struct {
        const char* name;
        std::function<void()> happens;
        bool breaksConnection;
    } faults[] = {
        {"nothing", [] {}, false},
        {"garbage",
         [&] {
             for (const char* text : {"{", "[]", R"({"t":"msg","from":1})", R"({"t":5})", "\x01"})
                 m_relay.inject(text);
         },
         false},
        {"vanishing", [&] { m_relay.vanish(); }, true},
        {"closing", [&] { m_relay.closeWith(1011); }, true},
        {"being away",
         [&] {
             m_relay.stop();
             (void)until([&] {
                 return m_daemon->process().output().find("could not connect") != std::string::npos;
             });
             m_relay.start();
         },
         true},
        {"refusing",
         [&] {
             const int before = m_relay.attempts();
             m_relay.refuse(503);
             m_relay.vanish();
             (void)m_relay.waitUntil([&] { return m_relay.attempts() > before; });
             m_relay.refuse(std::nullopt);
         },
         true},
        {"replaying", [&] { m_relay.setFilter(again); }, false},
        {"reordering", [&] { m_relay.setFilter(reorder); }, false},
        {"losing the first answer", [&] { m_relay.setFilter(RelayDouble::drop("msg")); }, false},
    };
    for (const auto& fault : faults) {
        SCOPED_TRACE(fault.name);
        const auto hook = m_daemon->runHook("claude", permissionRequest(fault.name));
        const std::string id = *json::textOf(m_daemon->pending(1).at(0), "id");
        const int connections = m_relay.connections();
        fault.happens();
        if (fault.breaksConnection) {
            ASSERT_TRUE(m_relay.waitUntil([&] { return m_relay.connections() > connections; }));
            if (!m_phone.isConnected())
                m_phone.connect();
            m_phone.waitFor("state", [&](const JSONObject& state) {
                return json::arrayOf(*state.find("state"), "pending").size() == 1;
            });
        }
        m_phone.answer(id, {{"action", "allow"}});
        m_phone.setMode("on");
        m_relay.setFilter({});
        if (hook->isRunning() && !until([&] { return !hook->isRunning(); }, 500ms))
            m_phone.answer(id, {{"action", "allow"}});
        EXPECT_EQ(hook->exitCode(), 0);
        EXPECT_EQ(hook->output(), allowed);
        EXPECT_TRUE(m_daemon->pending(0).empty());
    }
}

TEST_F(RelayRoad, AFloodIsSurvivedWithoutGrowing) {
    pairAndConnect();
    const auto hook = m_daemon->runHook("claude", permissionRequest("asking"));
    const JSONObject question = m_phone.waitFor("notify");
    const auto flood = [&] {
        const std::string replayed = m_relay.sent().back();
        for (int i = 0; i < 5'000; ++i) {
            m_relay.inject(replayed);
            m_relay.inject(R"({"t":"peers","phones":[)" + std::string(i % 2 ? R"("x")" : "") +
                           "]}");
        }
        m_relay.inject(R"({"t":"peers","phones":[")" + m_phone.identity().device + R"("]})");
        const std::string id = m_phone.hello();
        const JSONObject result = m_phone.resultOf(m_phone.setMode("on"));
        EXPECT_EQ(*result.find("ok"), JSONValue(true));
    };
    const long before = resident();
    flood();
    flood();
    EXPECT_LT(static_cast<double>(resident()), 1.2 * static_cast<double>(before));
    m_phone.resultOf(m_phone.answer(*question.string("target"), {{"action", "allow"}}));
    EXPECT_EQ(hook->exitCode(), 0);
    EXPECT_EQ(hook->output(), allowed);
}

TEST_F(RelayRoad, ARelayThatStopsReadingCostsNoMemoryAndHoldsNobodyUp) {
    pairAndConnect();
    const std::string large(200'000, 'x');
    const std::string event = json::compact(JSONObject{{"hook_event_name", "Stop"},
                                                       {"session_id", "large"},
                                                       {"last_assistant_message", large}})
                                  .value();
    m_daemon->post("/mode", JSONObject{{"mode", "off"}});
    m_daemon->event(event);
    m_relay.stall(true);
    const long before = resident();
    // Each push would be 270 KB.
    for (int i = 0; i < 300; ++i) {
        m_phone.hello();
        EXPECT_EQ(m_daemon->event(event).statusLine, "HTTP/1.1 200 OK");
    }
    EXPECT_LT(resident() - before, 24 * 1024);
    m_relay.stall(false);
    m_phone.waitFor("state");
    EXPECT_EQ(*m_phone.resultOf(m_phone.setMode("on")).find("ok"), JSONValue(true));
}

TEST_F(RelayRoad, WhatFailsWithoutAWordIsNotedAndLoggedOnce) {
    const auto troubles = [&] {
        const auto notes = JSONValue::parse(contentOf(m_daemon->home() / "logs/status.json"));
        return json::compact(notes ? json::member(*notes, "troubles") : JSONValue()).value_or("");
    };
    const auto waitFor = [&](const std::string& text) {
        ASSERT_TRUE(until([&] { return troubles().find(text) != std::string::npos; })) << text;
    };
    std::filesystem::remove(m_daemon->home() / "logs/events.jsonl");
    m_daemon->home().put("logs/events.jsonl/in the way", "");
    (void)m_daemon->event(R"({"hook_event_name": "SessionStart"})");
    waitFor(R"("error":"Is a directory")");
    m_relay.refuse(403);
    m_relay.vanish();
    waitFor(R"("status":403)");
    std::filesystem::remove_all(m_daemon->home() / "logs/events.jsonl");
    (void)m_daemon->event(R"({"hook_event_name": "SessionStart"})");
    m_relay.refuse(std::nullopt);
    ASSERT_TRUE(until([&] { return troubles() == "{}"; })) << troubles();
    const std::string log = m_daemon->process().output();
    for (const std::string line : {"tamsell: cannot write the events log: Is a directory\n",
                                   "tamsell: the relay refuses this computer (HTTP 403)\n"})
        EXPECT_EQ(log.find(line), log.rfind(line)) << log;
    EXPECT_EQ(json::member(m_daemon->state(), "troubles"), JSONValue());
}
