#include <gtest/gtest.h>

#include "support/RunningDaemon.h"

namespace {

constexpr int nesting = 200'000;

class HostileInputTest : public testing::Test {
  protected:
    /// The names of the sessions so far, oldest first.
    [[nodiscard]] std::vector<std::string> sessions() const {
        std::vector<std::string> names;
        const JSONValue state = m_daemon.state();
        for (const JSONValue& event : *state["recent"]->array())
            names.push_back(*event["session"]->string());
        return names;
    }

    const RunningDaemon m_daemon{JSONObject{{"mode", "on"}, {"permissionWait", 600}},
                                 RunningDaemon::Port::inTheSettings};
};

std::string nested() {
    std::string text = R"({"hook_event_name":"Notification","session_id":"deep","tool_input":)";
    return text.append(nesting, '[').append(nesting, ']').append("}");
}

} // namespace

TEST_F(HostileInputTest, BodiesThatAreNoEventCountAsAnEmptyOne) {
    const std::string bodies[]{
        nested(),
        std::string(nesting, '['),
        std::string(nesting, '{'),
        R"({"hook_event_name":"PermissionRequest","session_id":")"
        "\xC3\x28\"}",
        R"({"hook_event_name":"PermissionRequest","session_id":"a")",
        R"({"hook_event_name":"PermissionRequest","session_id":"a"} {})",
        R"(["PermissionRequest"])",
        std::string("\0\0\0", 3),
    };
    for (const std::string& body : bodies) {
        const Response response = m_daemon.event(body);
        EXPECT_EQ(response.statusLine, "HTTP/1.1 200 OK") << body.substr(0, 80);
        EXPECT_EQ(response.body, "");
    }
    const auto hook = m_daemon.runHook("claude", nested());
    EXPECT_EQ(hook->exitCode(), 0);
    EXPECT_EQ(hook->output(), "");
    EXPECT_EQ(sessions(), std::vector<std::string>(std::size(bodies) + 1, "unknown"));
}

TEST_F(HostileInputTest, AnEventCutWithinACharacterIsStillAsked) {
    const auto hook =
        m_daemon.runHook("claude", R"({"hook_event_name":"PermissionRequest","session_id":"cut",)"
                                   R"("tool_name":"Bash","tool_input":{"command":"echo \ud83d"}})");
    const JSONArray pending = m_daemon.pending(1);
    ASSERT_EQ(pending.size(), 1U);
    EXPECT_EQ(*(*pending[0]["input"])["command"], JSONValue("echo \uFFFD"));
    (void)m_daemon.answer(pending[0], {{"action", "allow"}});
    EXPECT_EQ(hook->exitCode(), 0);
    EXPECT_NE(hook->output(), "");
}

TEST_F(HostileInputTest, WhatIsNoRequestGetsNoAnswerAndHurtsNobody) {
    const std::string bytes[]{
        "",
        "\r\n\r\n",
        "GET\r\n\r\n",
        std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11),
        std::string(300'000, '\0'),
        "POST /hook HTTP/1.1\r\ncontent-length: 1000\r\n\r\n{}",
        "POST /hook HTTP/1.1\r\nx: " + std::string(1'000'000, 'x'),
    };
    for (const std::string& garbage : bytes) {
        Client client(m_daemon.port());
        EXPECT_TRUE(client.send(garbage));
        EXPECT_EQ(m_daemon.get("/state").statusLine, "HTTP/1.1 200 OK");
        client.finishSending();
        EXPECT_EQ(client.everything(), "") << garbage.substr(0, 40);
    }
    EXPECT_EQ(sessions(), std::vector<std::string>());
}

TEST_F(HostileInputTest, ARequestBeyondTheLimitIsClosedUnanswered) {
    Client client(m_daemon.port());
    constexpr std::size_t size = 17 << 20;
    client.send(requestText("POST", "/hook", {}, std::string(size, ' ')));
    EXPECT_EQ(client.everything(), "");
    // One just within it is an event.
    std::string event = R"({"session_id":"large"})";
    event.append((16 << 20) - 1000 - event.size(), ' ');
    EXPECT_EQ(m_daemon.event(event).statusLine, "HTTP/1.1 200 OK");
    EXPECT_EQ(sessions(), std::vector<std::string>{"large"});
}
