#include <csignal>

#include <gtest/gtest.h>

#include "support/RunningDaemon.h"

namespace {

using namespace std::chrono_literals;
using Port = RunningDaemon::Port;

const JSONObject awayForLong{{"mode", "on"}, {"permissionWait", 600}, {"stopWait", 600}};
const std::string stop = R"({"hook_event_name":"Stop","session_id":"stopped"})";

} // namespace

TEST(Waiting, EndsByItselfWithoutAnAnswer) {
    // Longer than the hook waits where nothing is held.
    const RunningDaemon daemon({{"mode", "on"}, {"permissionWait", 2.5}, {"stopWait", 2.2}},
                               Port::inTheSettings);
    const auto begin = std::chrono::steady_clock::now();
    const auto permission = daemon.runHook("claude", permissionRequest("asking"));
    const auto stopped = daemon.runHook("codex", stop);
    EXPECT_EQ(stopped->exitCode(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 2200ms);
    EXPECT_EQ(permission->exitCode(), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 2500ms);
    EXPECT_EQ(stopped->output() + permission->output(), "");
    EXPECT_TRUE(daemon.pending(0).empty());
}

TEST(Waiting, EndsAtOnceWhenTheAgentGivesUp) {
    const RunningDaemon daemon(awayForLong, Port::inTheSettings);
    const Process hook({.program = TAMSELL_BIN "/tamsell-hook",
                        .arguments = {"tamsell-hook"},
                        .environment = {{"TAMSELL_HOME", daemon.home().path()}},
                        .input = stop});
    const JSONArray pending = daemon.pending(1);
    ASSERT_EQ(pending.size(), 1U);
    hook.signal(SIGKILL);
    EXPECT_TRUE(daemon.pending(0).empty());
    const Response late = daemon.answer(pending[0], {{"action", "reply"}, {"text", "go on"}});
    EXPECT_EQ(late.statusLine, "HTTP/1.1 404 Not Found");
}

TEST(Waiting, IdenticalQuestionsAreAnsweredApartAndOnce) {
    const RunningDaemon daemon(awayForLong, Port::inTheSettings);
    const auto first = daemon.runHook("claude", permissionRequest("twins"));
    const JSONArray one = daemon.pending(1);
    ASSERT_EQ(one.size(), 1U);
    const auto second = daemon.runHook("claude", permissionRequest("twins"));
    const JSONArray both = daemon.pending(2);
    ASSERT_EQ(both.size(), 2U);
    EXPECT_EQ(*both[0]["id"], *one[0]["id"]);

    EXPECT_EQ(daemon.answer(both[1], {{"action", "deny"}}).body, R"({"ok":true})");
    EXPECT_EQ(second->exitCode(), 0);
    EXPECT_EQ(
        second->output(),
        R"({"hookSpecificOutput":{"decision":{"behavior":"deny","message":"Denied from phone"},)"
        R"("hookEventName":"PermissionRequest"}})");
    EXPECT_TRUE(first->isRunning());

    const Response again = daemon.answer(both[1], {{"action", "allow"}});
    EXPECT_EQ(again.statusLine, "HTTP/1.1 404 Not Found");
    EXPECT_EQ(again.body, R"({"error":"已經回答過或已逾時"})");
    EXPECT_EQ(daemon.pending(1), JSONArray{both[0]});

    EXPECT_EQ(daemon.answer(both[0], {{"action", "allow"}}).body, R"({"ok":true})");
    EXPECT_EQ(first->exitCode(), 0);
    EXPECT_EQ(first->output(), R"({"hookSpecificOutput":{"decision":{"behavior":"allow"},)"
                               R"("hookEventName":"PermissionRequest"}})");
}

TEST(Waiting, EndsWithoutAnAnswerWhenTheDaemonEnds) {
    RunningDaemon daemon(awayForLong, Port::inTheSettings);
    const auto permission = daemon.runHook("claude", permissionRequest("asking"));
    const auto stopped = daemon.runHook("codex", stop);
    ASSERT_EQ(daemon.pending(2).size(), 2U);
    daemon.process().signal(SIGTERM);
    EXPECT_EQ(daemon.process().exitCode(), 0);
    for (const auto& hook : {permission.get(), stopped.get()}) {
        EXPECT_EQ(hook->exitCode(), 0);
        EXPECT_EQ(hook->output(), "");
    }
}

TEST(Waiting, AnotherDaemonOnThePortLeavesThisOneAlone) {
    const RunningDaemon daemon(awayForLong, Port::inTheSettings);
    const std::string settings = contentOf(daemon.home() / "config.json");
    const auto hook = daemon.runHook("claude", permissionRequest("asking"));
    const JSONArray pending = daemon.pending(1);
    ASSERT_EQ(pending.size(), 1U);

    const auto other = daemon.startAnother();
    const std::string complaint =
        "tamsell: port " + std::to_string(daemon.port()) + " is already in use\n";
    EXPECT_TRUE(until([&] { return other->output().ends_with(complaint); })) << other->output();
    other->signal(SIGTERM);
    EXPECT_EQ(other->exitCode(), 0);

    EXPECT_EQ(contentOf(daemon.home() / "config.json"), settings);
    EXPECT_EQ(daemon.pending(1), pending);
    (void)daemon.answer(pending[0], {{"action", "allow"}});
    EXPECT_EQ(hook->exitCode(), 0);
    EXPECT_NE(hook->output(), "");
}
