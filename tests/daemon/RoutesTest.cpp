#include "daemon/Routes.h"

#include <sys/syscall.h>
#include <unistd.h>

#include "daemon/DaemonFixture.h"

using namespace std::chrono_literals;

using RoutesTest = DaemonFixture;

TEST_F(RoutesTest, ServesStateAndThePage) {
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

    EXPECT_EQ(ask("GET", "/").body, "tamsell") << "there is no page";
    atomicfile::write(m_home.path() / "app.html", "<p>late</p>");
    EXPECT_EQ(ask("GET", "/").body, "tamsell") << "a page that failed to load is not tried again";
    start();
    const Response page = ask("GET", "/");
    EXPECT_EQ(page.body, "<p>late</p>");
    EXPECT_EQ(page.contentType, "text/html; charset=utf-8");
}

TEST_F(RoutesTest, ATicketOpensThePageOnceForThisUser) {
    start();
    const std::string link = m_daemon->pageLink().value();
    const std::string target = link.substr(link.find("/open"));
    EXPECT_EQ(link.find("secret"), std::string::npos);
    if (::geteuid() == 0) {
        // Somebody else who has read it off a command line.
        const std::string request = requestText("GET", target, "", "");
        std::unique_ptr<RawSocket> theirs;
        ASSERT_EQ(::syscall(SYS_setresuid, -1, 65534, -1), 0);
        theirs = send(request);
        ASSERT_EQ(::syscall(SYS_setresuid, -1, 0, -1), 0);
        EXPECT_EQ(responseOn(*theirs).status, 401);
    }
    EXPECT_EQ(ask("GET", "/open?ticket=", "", "").status, 401);
    EXPECT_EQ(ask("POST", target, "", "").status, 401);
    const Response page = ask("GET", target, "", "");
    EXPECT_EQ(page.status, 200);
    EXPECT_NE(page.body.find("url=/?token=secret\""), std::string::npos) << page.body;
    EXPECT_EQ(ask("GET", target, "", "").status, 401) << "twice";

    PageTicket ticket;
    const PageTicket::Clock::time_point now{};
    const std::string first = ticket.issue(now);
    const std::string second = ticket.issue(now);
    EXPECT_FALSE(ticket.redeem(first, now)) << "there is a newer one";
    EXPECT_FALSE(ticket.redeem(second, now + PageTicket::lifetime + 1s));
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

    EXPECT_EQ(ask("POST", "/mode", "{\"mode\":\"off\"}").body,
              R"({"away":false,"idleMinutes":5,"idleSeconds":0,"mode":"off"})");
    EXPECT_FALSE(m_daemon->away());
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

TEST_F(RoutesTest, TellsOfTheRelayOnceHoweverMuchItReports) {
    start();
    const auto stream = send(requestText("GET", "/events", ""));
    const auto records = [&] {
        const std::string& text = stream->receive();
        std::size_t count = 0;
        for (std::size_t at = 0; (at = text.find("data: ", at)) != text.npos; ++at)
            ++count;
        return count;
    };
    ASSERT_TRUE(eventually([&] { return records() == 1; }));
    m_relay->report(JSONObject{{"ok", 1}});
    for (int i = 0; i < 1000; ++i)
        m_daemon->relay().onChange();
    ASSERT_TRUE(eventually([&] { return records() == 2; }));
    EXPECT_EQ(m_daemon->relayRevision(), 1000);
    EXPECT_EQ(callsOf("push"), 0) << "the phones know, or need not";
}
