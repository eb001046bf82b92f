#include "ctl/Question.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/AtomicFile.h"
#include "core/DaemonError.h"
#include "ctl/CtlRun.h"
#include "support/CodexLines.h"
#include "support/RunningDaemon.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

TEST(QuestionNamed, IsTheWholeIdOrTheOnlyOneThatBeginsSo) {
    const auto questions = ctl::questionsIn(JSONObject{
        {"pending", JSONArray{JSONObject{{"id", "aaaa1111"}}, JSONObject{{"id", "aaaa2222"}},
                              JSONObject{{"id", "aaaa"}}, JSONObject{{"kind", "stop"}}}}});
    ASSERT_EQ(questions.size(), 3U);
    EXPECT_EQ(ctl::questionNamed(questions, "aaaa2").id, "aaaa2222");
    EXPECT_EQ(ctl::questionNamed(questions, "aaaa").id, "aaaa");
    for (const char* id : {"aaa", "bbbb", "", "aaaa3"})
        EXPECT_THROW((void)ctl::questionNamed(questions, id), DaemonError) << id;
    const std::vector<ctl::Question> twins{questions[0], questions[1]};
    EXPECT_THROW((void)ctl::questionNamed(twins, "aaaa"), DaemonError);
}

TEST(Commands, WrongUseIsTwoAndFailureIsOneWithASentence) {
    const TemporaryDirectory home;
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{},
                                               {"bogus"},
                                               {"hooks"},
                                               {"status", "extra"},
                                               {"status", "--bogus"},
                                               {"answer", "abcd"},
                                               {"answer", "abcd", "yes"},
                                               {"answer", "abcd", "allow", "--message", "no"},
                                               {"answer", "abcd", "deny", "--message"},
                                               {"reply", "abcd", " \n"},
                                               {"answer", "abcd", "deny", "--message", "\xff"},
                                               {"mode", "On"}}) {
        const CtlRun run = runCtl(home.path(), words);
        EXPECT_EQ(run.exitCode, 2) << testing::PrintToString(words);
        EXPECT_THAT(run.errors, StartsWith("tamsellctl: "));
        EXPECT_EQ(run.output, "");
    }
    home.put("config.json", R"({"port": 9})");
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"mode"},
                                               {"pending", "--json"},
                                               {"test"},
                                               {"answer", "abcd", "allow"},
                                               {"url"},
                                               {"doctor", "--restore"}}) {
        const CtlRun run = runCtl(home.path(), words);
        EXPECT_EQ(run.exitCode, 1) << testing::PrintToString(words);
        EXPECT_THAT(run.errors, testing::MatchesRegex("tamsellctl: .+\n"));
    }
    for (const char* word : {"--help", "--version"})
        EXPECT_EQ(runCtl(home.path(), {word}).exitCode, 0);
    EXPECT_THAT(runCtl(home.path(), {"hooks", "status", "--help"}).output,
                HasSubstr("tamsellctl hooks status [--json]"));
}

TEST(Commands, AnswerTheQuestionThatIsMeant) {
    const RunningDaemon daemon({{"mode", "on"}}, RunningDaemon::Port::inTheSettings);
    const auto ctl = [&](std::vector<std::string> words) {
        return runCtl(daemon.home().path(), std::move(words));
    };
    struct Case {
        std::string event;
        std::vector<std::string> wrong; // which must not settle it
        std::vector<std::string> words; // behind the command and the id
        const char* said;
        const char* heard; // by the agent
    };
    const std::string stop = R"({"hook_event_name":"Stop","session_id":"s","cwd":"/w/orchard"})";
    const std::string suggesting =
        R"({"hook_event_name":"PermissionRequest","session_id":"s","tool_name":"Ba\u202esh",)"
        R"("tool_input":{"command":"ls"},"permission_suggestions":[{"type":"x"}]})";
    const std::vector<Case> cases{
        {permissionRequest("s"),
         {"reply", "text"},
         {"answer", "allow"},
         "已允許：Bash\n",
         R"({"hookSpecificOutput":{"decision":{"behavior":"allow"},"hookEventName":"PermissionRequest"}})"},
        {suggesting,
         {"reply", "text"},
         {"answer", "always"},
         "已總是允許：Ba\\u{202E}sh\n",
         R"("updatedPermissions":[{"type":"x"}])"},
        {permissionRequest("s"),
         {"reply", "text"},
         {"answer", "deny", "--message", "-no\n\"1\""},
         "已拒絕：Bash\n",
         R"("message":"-no\n\"1\"")"},
        {stop,
         {"answer", "allow"},
         {"reply", "--", "--go on"},
         "已送出指示：停下來的回合（orchard）\n",
         R"(Do this next:\n\n--go on)"},
    };
    for (const Case& one : cases) {
        const auto agent = daemon.runHook("claude", one.event);
        const JSONArray items = daemon.pending(1);
        ASSERT_EQ(items.size(), 1U);
        const std::string id = *items.front()["id"]->string();
        EXPECT_THAT(ctl({"pending"}).output, StartsWith(id.substr(0, 8) + "  "));
        EXPECT_EQ(JSONValue::parse(ctl({"pending", "--json"}).output), JSONValue(items));
        EXPECT_EQ(ctl({one.wrong[0], id, one.wrong[1]}).exitCode, 1);
        EXPECT_EQ(daemon.pending(1).size(), 1U);

        std::vector<std::string> words = one.words;
        words.insert(words.begin() + 1, id.substr(0, 4));
        const CtlRun run = ctl(words);
        EXPECT_EQ(run.output, one.said) << run.errors;
        EXPECT_EQ(agent->exitCode(), 0);
        EXPECT_THAT(agent->output(), HasSubstr(one.heard));
        words[1] = id;
        EXPECT_EQ(ctl(words).exitCode, 1);
    }
}

TEST(Commands, ListWhatWaitsWithoutHidingAnything) {
    const RunningDaemon daemon({{"mode", "on"}}, RunningDaemon::Port::inTheSettings);
    const auto agent = daemon.runHook(
        "claude", R"({"hook_event_name":"PermissionRequest","tool_input":{"command":"\u009b)" +
                      std::string(300, 'x') + R"(","unsafe":true,"description":"d"}})");
    ASSERT_EQ(daemon.pending(1).size(), 1U);
    EXPECT_THAT(runCtl(daemon.home().path(), {"pending"}).output,
                testing::EndsWith("\n    \\u{009B}" + std::string(299, 'x') +
                                  "…（還有 1 個位元組）（另有 unsafe）\n"));
    EXPECT_THAT(runCtl(daemon.home().path(), {"pending", "--json"}).output,
                HasSubstr("\"\\u009bxxx"));
    daemon.answer(daemon.pending(1).front(), {{"action", "deny"}});
    EXPECT_EQ(agent->exitCode(), 0);
}

TEST(Commands, TellAndSwitchHowTamsellStands) {
    RunningDaemon daemon({{"mode", "off"}, {"token", "a+b/c"}}, RunningDaemon::Port::inTheSettings);
    const auto ctl = [&](std::vector<std::string> words) {
        return runCtl(daemon.home().path(), std::move(words)).output;
    };
    EXPECT_EQ(ctl({"mode"}), "關閉，目前視為在電腦前：agent 照常在電腦上詢問\n");
    EXPECT_EQ(ctl({"mode", "on"}), "開啟，目前視為離開：問題會等你回答\n");
    EXPECT_EQ(ctl({"url"}),
              "http://127.0.0.1:" + std::to_string(daemon.port()) + "/?token=a%2Bb%2Fc\n");
    const JSONValue status = JSONValue::parse(ctl({"status", "--json"})).value();
    EXPECT_EQ(*status["running"], JSONValue(true));
    EXPECT_EQ(*status["pid"], JSONValue(static_cast<double>(daemon.process().id())));
    EXPECT_EQ(*(*status["presence"])["mode"], JSONValue("on"));
    EXPECT_EQ(*(*status["hooks"])["claude"], JSONValue(0));
    EXPECT_EQ(ctl({"hooks", "status", "--json"}),
              "{\n  \"claude\": 0,\n  \"codex\": null,\n  \"error\": null,\n  \"legacy\": false,\n"
              "  \"scriptCurrent\": false\n}\n");
}

TEST(Commands, SayWhatCodexTrusts) {
    const TemporaryDirectory home;
    const auto trust = [&](const std::string& program, std::vector<std::string> words) {
        const CtlRun run =
            runCtl(home.path(), std::move(words), "", {"TAMSELL_CODEX_BIN=" + program});
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_EQ(run.errors, "");
        return run.output;
    };
    const auto codex = [&](const std::string& name) {
        const std::string answer = home.put("answer", codexLine(name)).string();
        const auto path = home.put("codex", "#!/bin/sh\ncat '" + answer + "'\ncat >/dev/null\n");
        std::filesystem::permissions(path, std::filesystem::perms(0755));
        return path.string();
    };
    const std::string some = codex("05_hooks_list.response");
    EXPECT_EQ(trust(some, {"hooks", "trust"}),
              "Codex 信任 1/4；1 個在信任之後改過；1 個被關掉\n"
              "在 Codex 裡輸入 /hooks，信任 Tamsell 的 hooks。這一步必須由你確認。\n");
    EXPECT_EQ(trust(some, {"hooks", "trust", "--json"}),
              "{\n  \"total\": 4,\n  \"usable\": 1\n}\n");
    EXPECT_EQ(trust(codex("05b_hooks_list.response_all_trusted"), {"hooks", "trust"}),
              "Codex 信任 4/4\n");
    EXPECT_THAT(trust(codex("05c_hooks_list.response_parse_warning"), {"hooks", "trust"}),
                StartsWith("Codex 信任 0/0\nCodex 沒有列出 Tamsell 的 hooks"));
    EXPECT_THAT(trust("/bin/false", {"hooks", "trust"}), StartsWith("無法得知"));
    EXPECT_EQ(trust("/bin/false", {"hooks", "trust", "--json"}), "null\n");
}

TEST(Commands, WalkTheRoadOfAnEvent) {
    const RunningDaemon daemon({{"mode", "auto"}}, RunningDaemon::Port::inTheSettings);
    const std::filesystem::path& home = daemon.home().path();
    ASSERT_EQ(runCtl(home, {"hooks", "install"}).exitCode, 0);
    const CtlRun walked = runCtl(home, {"test"});
    EXPECT_EQ(walked.exitCode, 0) << walked.errors;
    EXPECT_THAT(walked.output,
                testing::EndsWith(
                    "✓ 回覆：空的，agent 照常進行\n– 中繼：還沒設定，略過\n整個流程都正常\n"));

    // The user is at the desk; the question waits all the same, and the mode comes back.
    const CtlRun asked = runCtl(home, {"test", "--ask"}, "x\nd\n");
    EXPECT_EQ(asked.exitCode, 0) << asked.output << asked.errors;
    EXPECT_THAT(asked.output, HasSubstr("✓ 回答：agent 收到 deny"));
    EXPECT_EQ(*(*daemon.state()["presence"])["mode"], JSONValue("auto"));

    // An entry of a copy that is gone stands before the current one.
    const std::string settings = contentOf(home / "claude/settings.json");
    std::string stale = settings;
    stale.insert(stale.find("\"Notification\": [") + 17,
                 R"({"hooks": [{"command": "/gone/tamsell-hook", "type": "command"}]},)");
    atomicfile::write(home / "claude/settings.json", stale);
    EXPECT_EQ(runCtl(home, {"test"}).exitCode, 0);

    atomicfile::write(home / "tamsell-hook", "#!/bin/sh\necho oops >&2\nexit 3\n", 0755);
    EXPECT_THAT(runCtl(home, {"test"}).errors,
                "tamsellctl: 測試停在「執行」：hook 的結束碼是 3：oops\n");
    atomicfile::write(home / "tamsell-hook", "#!/bin/sh\n", 0755);
    EXPECT_THAT(runCtl(home, {"test"}).errors,
                "tamsellctl: 測試停在「送達」：hook 結束了，但 Tamsell 沒有收到事件\n");
}

} // namespace
