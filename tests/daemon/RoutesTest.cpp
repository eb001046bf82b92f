#include "daemon/Routes.h"

#include "daemon/DaemonFixture.h"

using namespace std::chrono_literals;

using RoutesTest = DaemonFixture;

TEST_F(RoutesTest, AsksForTheTokenBeforeAnythingElse) {
    start();
    const struct {
        const char* target;
        const char* headers;
        int status;
    } cases[] = {
        {"/state", "x-token: secret\r\n", 200},
        {"/state?token=secret", "", 200},
        {"/state?token=wrong", "x-token: secret\r\n", 401},
        {"/state?token=", "x-token: secret\r\n", 401},
        {"/state", "x-token: secreT\r\n", 401},
        {"/state", "x-token: secre\r\n", 401},
        {"/state", "", 401},
        {"/nothing", "", 401},
        {"/nothing", "x-token: secret\r\n", 404},
        {"/hook", "", 401},
        {"/hook", "x-token: secret\r\n", 404},
        {"/State", "x-token: secret\r\n", 404},
        {"/answer", "x-token: secret\r\n", 404},
        {"/health", "", 200},
    };
    for (const auto& [target, headers, status] : cases)
        EXPECT_EQ(ask("GET", target, "", headers).status, status) << target << " " << headers;
    const Response refused = ask("GET", "/", "", "");
    EXPECT_EQ(refused.body, "Unauthorized: open the URL from the tamsell menu");
    EXPECT_EQ(refused.contentType, "text/plain; charset=utf-8");
    EXPECT_EQ(ask("GET", "/nothing").body, R"({"error":"not found"})");

    editConfig({{"token", 5}});
    EXPECT_EQ(ask("POST", "/hook", "{}", "").status, 200);
    EXPECT_EQ(ask("GET", "/state", "", "x-token: 5\r\n").status, 401);
}

TEST_F(RoutesTest, RefusesHooksFromWebPages) {
    start();
    for (const char* header : {"origin: https://example.com\r\n", "Sec-Fetch-Site: none\r\n"}) {
        const Response refused = ask("POST", "/hook", R"({"session_id":"evil"})", header);
        EXPECT_EQ(refused.status, 403);
        EXPECT_EQ(refused.body, R"({"error":"local only"})");
    }
    EXPECT_TRUE(m_daemon->activity().sessions().empty());
}

TEST_F(RoutesTest, ServesStateHealthAndThePage) {
    start({{"mode", "on"}, {"idleMinutes", 2.5}});
    m_idleSeconds = 12.9;
    const auto hook = holdHook({{"hook_event_name", "Stop"}, {"session_id", "s"}});
    const JSONValue state = ask("GET", "/state?token=secret").json();
    EXPECT_EQ(state, m_daemon->snapshot());
    EXPECT_EQ(json::compact(*state["presence"]),
              R"({"away":true,"idleMinutes":2.5,"idleSeconds":12,"mode":"on"})");
    EXPECT_EQ(json::compact(*state["relay"]),
              R"({"configured":false,"connected":false,"devices":0,"phones":0})");
    EXPECT_EQ((*state["pending"]->array())[0]["chained"]->boolean(), false);

    const JSONValue health = ask("DELETE", "/health", "", "").json();
    EXPECT_EQ(health["ok"]->boolean(), true);
    EXPECT_EQ(health["app"]->boolean(), true);
    EXPECT_EQ(health["pid"]->number(), static_cast<double>(getpid()));
    EXPECT_EQ(*health["relay"], *state["relay"]);

    EXPECT_EQ(ask("GET", "/").body, "tamsell") << "there is no page";
    atomicfile::write(m_home.path() / "app.html", "<p>late</p>");
    EXPECT_EQ(ask("GET", "/").body, "tamsell") << "a page that failed to load is not tried again";
    start();
    const Response page = ask("GET", "/");
    EXPECT_EQ(page.body, "<p>late</p>");
    EXPECT_EQ(page.contentType, "text/html; charset=utf-8");
}

TEST_F(RoutesTest, AnswersAndSwitchesTheMode) {
    start({{"mode", "on"}});
    const auto hook = holdHook({{"hook_event_name", "PermissionRequest"}});
    const std::string id = m_daemon->pending().front()->id;
    for (const std::string& body :
         {std::string("{\"id\":5,\"action\":\"allow\"}"), std::string("[]"),
          "{\"id\":\"" + id.substr(1) + "\",\"action\":\"allow\"}"}) {
        const Response refused = ask("POST", "/answer", body);
        EXPECT_EQ(refused.status, 404);
        EXPECT_EQ(refused.body, R"({"error":"已經回答過或已逾時"})");
    }
    EXPECT_EQ(m_daemon->pending().size(), 1U);
    EXPECT_EQ(
        ask("POST", "/answer", "{\"id\":\"" + id + "\",\"action\":\"deny\",\"message\":\"no\"}")
            .body,
        R"({"ok":true})");
    EXPECT_EQ(
        *responseOn(*hook).json()["hookSpecificOutput"],
        JSONValue::parse(
            R"({"hookEventName":"PermissionRequest","decision":{"behavior":"deny","message":"no"}})"));

    for (const char* body : {"{\"mode\":\"Auto\"}", "{\"mode\":1}", "{}", ""}) {
        const Response refused = ask("POST", "/mode", body);
        EXPECT_EQ(refused.status, 400);
        EXPECT_EQ(refused.body, R"({"error":"mode must be off, auto or on"})");
    }
    EXPECT_EQ(ask("POST", "/mode", "{\"mode\":\"off\"}").body,
              R"({"away":false,"idleMinutes":5,"idleSeconds":0,"mode":"off"})");
    EXPECT_FALSE(m_daemon->away());
}

TEST_F(RoutesTest, StreamsEveryPublishedState) {
    start();
    const auto stream = send(requestText("GET", "/events", ""));
    const std::string head = "HTTP/1.1 200 OK\r\ncontent-type: text/event-stream\r\n"
                             "cache-control: no-store\r\nconnection: keep-alive\r\n\r\n";
    const auto records = [&] {
        std::vector<JSONValue> result;
        std::string text =
            stream->receive().substr(std::min(head.size(), stream->receive().size()));
        for (std::size_t end; (end = text.find("\n\n")) != std::string::npos;
             text.erase(0, end + 2)) {
            EXPECT_TRUE(text.starts_with("data: "));
            result.push_back(JSONValue::parse(text.substr(6, end - 6)).value_or(JSONValue()));
        }
        return result;
    };
    EXPECT_TRUE(eventually([&] { return records().size() == 1; }));
    EXPECT_TRUE(stream->receive().starts_with(head));
    EXPECT_EQ(records()[0], m_daemon->snapshot());
    m_daemon->setMode(AwayMode::on);
    EXPECT_TRUE(eventually([&] { return records().size() == 2; }));
    EXPECT_EQ(*(*records()[1]["presence"])["mode"]->string(), "on");
    stream->close();
    EXPECT_EQ(ask("POST", "/hook", "{}", "").status, 200);
}

TEST_F(RoutesTest, ManagesPairingAndDevices) {
    start();
    EXPECT_EQ(ask("GET", "/devices").body, "[]");
    EXPECT_EQ(ask("POST", "/devices/remove", R"({"id":"a"})").status, 404);
    m_daemon->setUpRelay();
    m_daemon->addDevice({"a", "Ana's phone", "key", 5});
    m_daemon->addDevice({"b", "Ben's phone", "key", 6});
    m_relay->setOnline({"b"});
    EXPECT_EQ(ask("GET", "/devices").body,
              R"([{"addedAt":5,"id":"a","name":"Ana's phone","online":false},)"
              R"({"addedAt":6,"id":"b","name":"Ben's phone","online":true}])");
    for (const char* body : {R"({"id":"c"})", R"({"id":5})", "{}", ""})
        EXPECT_EQ(ask("POST", "/devices/remove", body).body, R"({"error":"no such device"})");
    EXPECT_EQ(ask("POST", "/devices/remove", R"({"id":"a"})").body, R"({"ok":true})");
    EXPECT_EQ(m_daemon->config().relay()->devices.size(), 1U);

    const JSONValue first = ask("POST", "/pair").json();
    EXPECT_THAT(*first["link"]->string(),
                testing::StartsWith("https://relay.example/#v=2&c=channel1&i="));
    EXPECT_GT(first["expires"]->number(), 1e12);
    EXPECT_EQ(ask("POST", "/pair").json(), first) << "shown again while it lives";
    m_relay->live = false;
    EXPECT_NE(ask("POST", "/pair").json(), first);
    m_relay->live = true;
    m_relay->lifetime = 4s;
    m_daemon->relay().handlers->paired({"d", "Dan's phone", "key", 7});
    EXPECT_EQ(m_daemon->config().relay()->devices.back().id, "d");
    const JSONValue third = ask("POST", "/pair").json();
    EXPECT_EQ(m_relay->made, 3) << "the invite that a phone has used is not shown again";
    EXPECT_NE(ask("POST", "/pair").json(), third) << "nor one in its last seconds";
    m_relay->invites = false;
    const Response refused = ask("POST", "/pair");
    EXPECT_EQ(refused.status, 409);
    EXPECT_EQ(refused.body, R"({"error":"relay not set up"})");
}

TEST_F(RoutesTest, ReportsATestPushAfterAMoment) {
    start();
    m_calls.clear();
    const auto early = send(requestText("POST", "/test-push", ""));
    EXPECT_TRUE(eventually([&] { return callsOf("broadcast notify test") == 1; }));
    EXPECT_EQ(early->receive(), "") << "the relay has time to report";
    EXPECT_EQ(responseOn(*early).body, R"({"error":"relay did not answer"})");
    m_relay->report(JSONObject{{"ok", 1}});
    EXPECT_EQ(ask("POST", "/test-push").body, R"({"ok":1})");
}

TEST_F(RoutesTest, LetsPhonesAnswerAndSwitchTheMode) {
    start({{"mode", "on"}});
    const auto& handlers = m_daemon->relay().handlers.value();
    const auto hook = holdHook({{"hook_event_name", "PermissionRequest"}});
    handlers.answer(m_daemon->pending().front()->id, {{"action", "allow"}});
    EXPECT_THAT(responseOn(*hook).body, testing::HasSubstr("allow"));
    EXPECT_THROW(handlers.answer("gone", {}), DaemonError);
    EXPECT_THROW(handlers.mode("Off"), DaemonError);
    EXPECT_TRUE(m_daemon->away());
    handlers.mode("off");
    EXPECT_FALSE(m_daemon->away());
    EXPECT_EQ(handlers.snapshot(), m_daemon->snapshot());
}
