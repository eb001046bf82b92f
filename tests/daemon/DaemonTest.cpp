#include "daemon/Daemon.h"

#include <filesystem>

#include <sys/stat.h>

#include "daemon/DaemonFixture.h"

using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

const JSONObject permission{{"hook_event_name", "PermissionRequest"},
                            {"session_id", "s"},
                            {"cwd", "/w/orchard"},
                            {"tool_name", "Bash"},
                            {"tool_input", JSONObject{{"command", "ls"}}}};
const JSONObject stopped{
    {"hook_event_name", "Stop"}, {"session_id", "s"}, {"last_assistant_message", "done"}};
constexpr const char* allowed =
    R"({"hookSpecificOutput":{"decision":{"behavior":"allow"},"hookEventName":"PermissionRequest"}})";

} // namespace

using DaemonTest = DaemonFixture;

TEST_F(DaemonTest, StartsOnceListensAndPublishesNothing) {
    start({{"mode", "on"}});
    EXPECT_EQ(m_daemon->serverState().phase, ServerState::Phase::listening);
    EXPECT_THAT(m_log, ElementsAre("tamsell listening on 127.0.0.1:" +
                                   std::to_string(m_daemon->port().value())));
    EXPECT_TRUE(m_daemon->away());
    EXPECT_EQ(callsOf("push"), 0);
    m_daemon->start();
    runDueEvents();
    EXPECT_EQ(m_log.size(), 1U);
    struct stat status {};
    ASSERT_EQ(::stat((m_home.path() / "logs").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
}

TEST_F(DaemonTest, BringsTheHookThatAgentsRunUpToDate) {
    m_home.put("bundled-hook", "new program");
    const auto installed = m_home.put("tamsell-hook", "old program");
    start();
    EXPECT_EQ(contentOf(installed), "old program") << "no agent runs it";
    m_home.put(".claude/settings.json",
               R"({"hooks": {"Stop": [{"hooks": [{"timeout": 600, "command": "\")" +
                   installed.string() + R"(\""}]}]}})");
    start();
    EXPECT_EQ(contentOf(installed), "new program");
}

TEST_F(DaemonTest, SaysWhyItCannotListen) {
    start({{"port", 70000}});
    EXPECT_EQ(m_daemon->serverState().phase, ServerState::Phase::failed);
    EXPECT_THAT(m_daemon->serverState().message, testing::HasSubstr("\"port\""));
    EXPECT_THAT(m_log, ElementsAre("tamsell: " + m_daemon->serverState().message));

    HTTPServer other;
    std::optional<std::uint16_t> taken;
    other.start("127.0.0.1", 0, [&](const auto&) { taken = other.port(); }, {});
    ASSERT_TRUE(eventually([&] { return taken.has_value(); }));
    m_log.clear();
    start({{"port", *taken}});
    EXPECT_EQ(m_daemon->serverState().message, "連接埠 " + std::to_string(*taken) + " 已被佔用");
    EXPECT_THAT(m_log,
                ElementsAre("tamsell: port " + std::to_string(*taken) + " is already in use"));
    EXPECT_EQ(m_calls.back(), "update nothing") << "the relay runs only while the server listens";
    other.stop();
    m_daemon->restartServer();
    EXPECT_TRUE(eventually([&] { return m_daemon->port() == taken; }));
}

TEST_F(DaemonTest, AnswersAtOnceAtTheDesk) {
    start();
    m_calls.clear();
    for (const JSONObject& event : {permission, stopped, JSONObject{}}) {
        const Response response = responseOn(*sendHook(event));
        EXPECT_EQ(response.status, 200);
        EXPECT_EQ(response.contentType, "application/json");
        EXPECT_EQ(response.body, "");
    }
    EXPECT_THAT(m_calls, ElementsAre("push", "push", "push"));
    EXPECT_EQ(m_daemon->activity().sessions().at("s").events, 2);
    EXPECT_EQ(m_daemon->activity().sessions().at("unknown").events, 1);
    EXPECT_EQ(m_idleReadings, 0) << "nobody asked for a snapshot, and mode off needs no idle time";
}

TEST_F(DaemonTest, WritesOneLogLineAnEvent) {
    start();
    const std::string body = R"({"session_id":"s\n","tool_input":{"n":12345678901234567890}})";
    const std::string headers = "x-tamsell-parent: IC91c3IvYmluL2NsYXVkZSAtYwo=\r\n"
                                "x-tamsell-client: mine\r\n";
    EXPECT_EQ(ask("POST", "/hook", body, headers).status, 200);
    EXPECT_EQ(ask("POST", "/hook", body, "x-tamsell-parent: no base64\r\n").status, 200);
    const std::string log = contentOf(m_home.path() / "logs" / "events.jsonl");
    ASSERT_EQ(std::ranges::count(log, '\n'), 2);
    JSONObject first = *JSONValue::parse(log.substr(0, log.find('\n'))).value().object();
    EXPECT_GT(first.find("_at")->number(), 1e12);
    first.erase("_at");
    EXPECT_EQ(json::compact(first),
              R"({"_client":"terminal","_parent":"\/usr\/bin\/claude -c","session_id":"s\n",)"
              R"("tool_input":{"n":12345678901234567890}})");
    const JSONValue second = JSONValue::parse(log.substr(log.find('\n') + 1)).value();
    EXPECT_EQ(second["_parent"], nullptr);
    EXPECT_EQ(*second["_client"]->string(), "terminal")
        << "the client of the session's first event";

    std::filesystem::remove_all(m_home.path() / "logs");
    EXPECT_EQ(ask("POST", "/hook", body, "").status, 200) << "without a logs directory";
}

TEST_F(DaemonTest, HoldsAQuestionAndRepliesInTheSettledOrder) {
    start({{"mode", "on"}});
    m_calls.clear();
    auto hook = holdHook(permission);
    EXPECT_THAT(m_calls, ElementsAre("push", "push", "broadcast notify permission"));
    const PendingItem item = *m_daemon->pending().front();
    EXPECT_EQ(item.expiresAt - item.createdAt, 120'000);
    EXPECT_EQ(item.detail(), "ls");

    m_calls.clear();
    std::size_t pendingAtPublish = 1;
    QObject::connect(m_daemon.get(), &Daemon::changed,
                     [&] { pendingAtPublish = m_daemon->pending().size(); });
    m_daemon->answer(item.id, {{"action", "allow"}});
    EXPECT_EQ(pendingAtPublish, 0U);
    EXPECT_THAT(m_calls, ElementsAre("push", "clear 1"));
    EXPECT_THAT(m_relay->cleared, ElementsAre(item.id));
    EXPECT_EQ(responseOn(*hook).body, allowed);
    runDueEvents();
    EXPECT_THAT(m_calls, ElementsAre("push", "clear 1"))
        << "the closed connection ends nothing twice";
    try {
        m_daemon->answer(item.id, {{"action", "deny"}});
        ADD_FAILURE() << "answered twice";
    } catch (const DaemonError& error) {
        EXPECT_EQ(error.message(), "已經回答過或已逾時");
    }
}

TEST_F(DaemonTest, EndsAnItemOnceWhoeverEndsIt) {
    start({{"mode", "on"}, {"permissionWait", 0.05}, {"stopWait", 60}});
    EXPECT_EQ(responseOn(*holdHook(permission)).body, "") << "the wait ran out";
    EXPECT_EQ(m_daemon->settled().size(), 1U);

    auto abandoned = holdHook(stopped);
    EXPECT_EQ(m_daemon->pending().front()->chained, false);
    EXPECT_EQ(m_daemon->pending().front()->lastMessage, "done");
    abandoned->close();
    EXPECT_TRUE(eventually([&] { return m_daemon->pending().empty(); }));
    EXPECT_EQ(m_daemon->settled().size(), 2U);

    auto rejected = holdHook(stopped);
    m_daemon->answer(m_daemon->pending().front()->id, {{"action", "allow"}});
    EXPECT_EQ(responseOn(*rejected).body, "") << "an answer that does not fit ends the item too";

    std::vector<std::string> ids;
    for (int i = 0; i < 25; ++i) {
        const auto hook = holdHook(stopped);
        ids.push_back(m_daemon->pending().front()->id);
        m_daemon->answer(ids.back(), {{"action", "reply"}, {"text", "go on"}});
        EXPECT_THAT(responseOn(*hook).body, testing::EndsWith(R"(\n\ngo on"})"));
    }
    EXPECT_TRUE(std::ranges::equal(m_daemon->settled(), std::vector(ids.end() - 20, ids.end())));
}

TEST_F(DaemonTest, ComingBackReleasesNothingAndWaitsAreBounded) {
    start({{"mode", "on"}, {"permissionWait", 1e300}, {"stopWait", -5}});
    EXPECT_EQ(responseOn(*sendHook(stopped)).body, "") << "a negative wait is over at once";
    const auto hook = holdHook(permission);
    EXPECT_TRUE(std::isfinite(m_daemon->pending().front()->expiresAt));
    m_daemon->setMode(AwayMode::off);
    runDueEvents();
    EXPECT_EQ(m_daemon->pending().size(), 1U);
    m_daemon.reset();
    EXPECT_TRUE(hook->hasEnded());
    EXPECT_EQ(hook->receive(), "") << "no answer is made up when the daemon ends";
}

TEST_F(DaemonTest, PublishesOncePerChange) {
    start({{"mode", "auto"}});
    m_calls.clear();
    // A changed file counts for the event that finds it, without a publish of its own.
    editConfig({{"mode", "on"}});
    const auto hook = holdHook(permission);
    EXPECT_THAT(m_calls, ElementsAre(testing::StartsWith("update"), "push", "push",
                                     "broadcast notify permission"));
    EXPECT_TRUE(m_daemon->away());

    m_calls.clear();
    editConfig({{"mode", "auto"}});
    EXPECT_TRUE(eventually([&] { return !m_daemon->away(); })) << "found by the tick";
    EXPECT_EQ(callsOf("push"), 1) << "file and decision have changed, and that is one publish";

    m_calls.clear();
    m_idleSeconds = 300;
    EXPECT_TRUE(eventually([&] { return m_daemon->away(); }));
    EXPECT_THAT(m_calls, ElementsAre("push"));
}

TEST_F(DaemonTest, SavesItsSettingsWithoutReadingThemBack) {
    start();
    m_calls.clear();
    m_daemon->setMode(AwayMode::on);
    EXPECT_TRUE(m_daemon->away());
    EXPECT_EQ(*savedConfig().find("mode")->string(), "on");
    EXPECT_THAT(m_calls, ElementsAre("update nothing", "push"));
    EXPECT_EQ(responseOn(*sendHook({})).status, 200);
    EXPECT_EQ(callsOf("update"), 1) << "its own save is no change from outside";

    // A change by hand that no tick has seen yet is not written over.
    editConfig({{"mode", "off"}, {"mine", 1}});
    m_daemon->markWelcomeDone();
    EXPECT_EQ(savedConfig().find("mine")->number(), 1);
    EXPECT_EQ(*savedConfig().find("mode")->string(), "off");
    EXPECT_EQ(savedConfig().find("welcomeDone")->boolean(), true);

    m_variables["TAMSELL_RELAY_URL"] = "https://relay.test//";
    m_daemon->setUpRelay();
    m_daemon->addDevice({"id", "Phone", "key", 5});
    EXPECT_EQ(m_calls[m_calls.size() - 2], "update https://relay.test");
    EXPECT_EQ(m_daemon->config().relay()->devices.size(), 1U);
    m_daemon->resetRelay();
    EXPECT_EQ(savedConfig().find("relay"), nullptr);

    // A directory that is in the way makes the save fail for every user, root included.
    std::filesystem::remove(m_home.path() / "config.json");
    std::filesystem::create_directory(m_home.path() / "config.json");
    m_log.clear();
    m_daemon->setMode(AwayMode::on);
    EXPECT_EQ(m_daemon->config().mode(), AwayMode::on) << "in force all the same";
    EXPECT_THAT(m_log.back(), testing::StartsWith("tamsell: cannot save config: "));
}
