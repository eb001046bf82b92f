// The program itself at a terminal.

#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/KeyGate.h"
#include "ctl/PseudoTerminal.h"
#include "support/RunningDaemon.h"

using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

namespace {

TEST(Watch, AnswersWithAKeyAndLeavesTheTerminalAsItWas) {
    RunningDaemon daemon({{"mode", "on"}}, RunningDaemon::Port::inTheSettings);
    PseudoTerminal watch(daemon.home().path().string(),
                         // As a job of the shell.
                         "set -m; tamsellctl watch; echo stopped; read line; fg");
    ASSERT_TRUE(watch.shows("目前視為離開"));

    auto agent = daemon.runHook("claude", permissionRequest("s"));
    ASSERT_TRUE(watch.shows("q 離開"));
    EXPECT_FALSE(watch.waitsForLines());
    // Until one comes late enough.
    EXPECT_TRUE(until([&] {
        watch.type("a");
        return watch.shows("已允許：", patience / 20);
    }));
    EXPECT_EQ(agent->exitCode(), 0);
    EXPECT_THAT(agent->output(), HasSubstr(R"("behavior":"allow")"));

    agent = daemon.runHook("codex", permissionRequest("t"));
    ASSERT_TRUE(watch.shows("q 離開"));
    EXPECT_TRUE(until([&] {
        watch.type("D");
        return watch.shows("Ctrl-D 取消）：", patience / 20);
    }));
    watch.type("wrong\x15"); // rubbed out
    watch.type("not " + std::string(5000, 'x') + "\n");
    EXPECT_TRUE(watch.shows("已拒絕："));
    EXPECT_EQ(agent->exitCode(), 0);
    EXPECT_THAT(agent->output(), HasSubstr(R"("message":"not )" + std::string(5000, 'x') + '"'));

    // A key, and at once the thought that it was the wrong one.
    agent = daemon.runHook("claude", permissionRequest("u"));
    ASSERT_TRUE(watch.shows("q 離開"));
    EXPECT_FALSE(watch.shows("nothing", ctl::KeyGate::quietPeriod + 200ms));
    watch.type("a\x1a");
    EXPECT_TRUE(watch.shows("stopped"));
    EXPECT_TRUE(watch.waitsForLines());
    watch.type("\n");
    EXPECT_TRUE(watch.shows("q 離開"));
    EXPECT_FALSE(watch.waitsForLines());
    EXPECT_FALSE(watch.shows("已允許", ctl::KeyGate::aloneFor + 200ms));
    watch.type("\x1c");
    EXPECT_TRUE(until([&] { return watch.waitsForLines(); }));
    EXPECT_EQ(WEXITSTATUS(watch.status()), 128 + SIGQUIT);
    EXPECT_EQ(daemon.pending(1).size(), 1U);
    daemon.answer(daemon.pending(1).front(), {{"action", "deny"}});
    EXPECT_EQ(agent->exitCode(), 0);
}

TEST(Watch, OnlyFollowsWithoutATerminal) {
    const RunningDaemon daemon({{"mode", "on"}}, RunningDaemon::Port::inTheSettings);
    Process watch(
        {.program = TAMSELL_BIN "/tamsellctl",
         .arguments = {"tamsellctl", "watch"},
         .environment = {{"TAMSELL_HOME", daemon.home().path().string()}, {"TERM", "xterm"}},
         .input = "a\na\n"});
    const auto agent = daemon.runHook("claude", permissionRequest("s"));
    EXPECT_TRUE(until([&] { return watch.output().find("回答：") != std::string::npos; }));
    EXPECT_THAT(watch.output(), Not(HasSubstr("\x1b")));
    const JSONArray items = daemon.pending(1);
    ASSERT_EQ(items.size(), 1U);
    daemon.answer(items.front(), {{"action", "deny"}});
    EXPECT_TRUE(until([&] { return watch.output().find("已在別處回答") != std::string::npos; }));
    EXPECT_TRUE(watch.isRunning());
}

} // namespace
