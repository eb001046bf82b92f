#include "ctl/QuestionText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

using ctl::TextLine;
using testing::ElementsAre;
using testing::HasSubstr;
using Kind = TextLine::Kind;

namespace {

// The waiting item that the daemon makes of an agent's event.
ctl::Question questionOf(const JSONValue& event) {
    JSONObject item{{"id", "0123456789"}, {"kind", "permission"}};
    for (const auto& [from, to] : {std::pair("tool_name", "tool"), std::pair("tool_input", "input"),
                                   std::pair("permission_suggestions", "suggestions")}) {
        if (const JSONValue* member = event[from])
            item.set(to, *member);
    }
    return ctl::Question::from(item).value();
}

ctl::Question fixture(const std::string& name) {
    return questionOf(
        JSONValue::parse(contentOf(std::string(TAMSELL_FIXTURES) + "/" + name)).value());
}

ctl::Question asking(JSONObject input) {
    return questionOf(JSONObject{{"tool_input", std::move(input)}});
}

std::string whole(const ctl::Question& question) {
    std::string text;
    for (const TextLine& line : ctl::linesOf(question))
        text += line.text + "\n";
    return text;
}

TEST(QuestionText, ShowsWhatAgentsAskInAFormThatCanBeJudged) {
    EXPECT_EQ(whole(fixture("claude/in/permission_request_bash.json")),
              "git push origin release/2.4\nagent 的說明：Push the release branch\n");
    EXPECT_EQ(whole(fixture("claude/in/permission_request_bash_multiline.json")),
              "1  set -e\n2  cd services/api\n3  for f in migrations/*.sql; do\n"
              "4    psql \"$DATABASE_URL\" -f \"$f\"\n5  done\n6  rm -rf ./tmp/*\n"
              "其他：\n{\n  \"run_in_background\": false,\n  \"timeout\": 180000\n}\n"
              "agent 的說明：Apply migrations and clean up\n");
    EXPECT_THAT(ctl::linesOf(fixture("claude/in/permission_request_edit.json")),
                testing::IsSupersetOf(
                    {TextLine{Kind::plain, "/home/user/work/orchard/src/harvest/planner.cpp"},
                     TextLine{Kind::removed, "- int limit = 10;"},
                     TextLine{Kind::added, "+ int limit = config.maxBins();"}}));
    EXPECT_THAT(ctl::linesOf(fixture("codex/in/permission_request_apply_patch.json")),
                testing::IsSupersetOf({TextLine{Kind::removed, "-let limit = 10;"},
                                       TextLine{Kind::added, "+let limit = cfg.max_bins;"}}));
    EXPECT_THAT(whole(fixture("claude/in/permission_request_write.json")),
                HasSubstr("données.md\n1  # Überblick\n2  \n3  Ligne avec « guillemets », emoji "
                          "🍎, tab→   here"));
    EXPECT_THAT(whole(fixture("claude/in/permission_request_ask_user_question.json")),
                HasSubstr("Storage：Which storage engine should the cache use?\n  • SQLite\n    "
                          "One file, no server\n  • LMDB\n"));
    EXPECT_THAT(whole(fixture("claude/in/permission_request_exit_plan_mode.json")),
                HasSubstr("limits\n\n1. Read `maxBins`"));
    EXPECT_EQ(whole(fixture("claude/in/permission_request_mcp.json")),
              "{\n  \"labels\": [\n    \"bug\"\n  ],\n  \"project\": \"ORCH\",\n"
              "  \"title\": \"Planner ignores bin limit\"\n}\n");
}

TEST(QuestionText, LeavesNothingOutAndNothingInvisible) {
    EXPECT_THAT(
        ctl::linesOf(fixture("claude/in/permission_request_bash_bidi.json")),
        testing::IsSupersetOf({TextLine{Kind::plain, "echo safe \\u{202E}; )tnerruc(~ fr- mr"},
                               TextLine{Kind::warning, "⚠ 裡面有看不見的字元，已經標成 \\u{…}"}}));
    // What no form expects is shown beside what it knows.
    EXPECT_EQ(whole(asking({{"command", "ls"}, {"cwd", "/etc"}, {"file_path", 3}})),
              "ls\n其他：\n{\n  \"cwd\": \"/etc\",\n  \"file_path\": 3\n}\n");
    EXPECT_EQ(whole(asking({{"file_path", "f"}, {"old_string", "a"}})),
              "f\n其他：\n{\n  \"old_string\": \"a\"\n}\n");
    EXPECT_EQ(whole(asking({{"edits", JSONArray{JSONObject{{"old_string", "x\ny\nz\n"},
                                                           {"new_string", "x\nq\nz\n"},
                                                           {"replace_all", true}},
                                                "odd"}}})),
              "全部取代：\n  x\n- y\n+ q\n  z\n\"odd\"\n");
    EXPECT_EQ(whole(asking({{"edits", JSONArray{JSONObject{{"file_path", "/etc/passwd"},
                                                           {"old_string", "x"},
                                                           {"new_string", "y"}}}}})),
              "{\n  \"file_path\": \"/etc/passwd\",\n  \"new_string\": \"y\",\n"
              "  \"old_string\": \"x\"\n}\n");
    EXPECT_EQ(whole(asking({{"old_string", "# safe\n"}, {"new_string", "# safer"}})),
              "- # safe\n+ # safer\n最後少了一個換行，會和下一行連在一起\n");
    const JSONObject preview{{"label", "A"}, {"preview", "rm"}};
    EXPECT_THAT(
        whole(asking(
            {{"questions",
              JSONArray{"why", JSONObject{{"question", "q"}, {"options", JSONArray{preview}}}}}})),
        testing::StartsWith("\"why\"\nq\n{\n  \"label\": \"A\",\n  \"preview\": \"rm\"\n}\n"));
    EXPECT_EQ(whole(asking({{"file_path", "f"}, {"content", ""}})), "f\n（空的）\n");
    EXPECT_EQ(whole(questionOf(JSONObject{{"tool_input", "text"}})), "\"text\"\n");
    EXPECT_EQ(whole(questionOf(JSONObject{})), "agent 沒有說要做什麼\n");
    // A description cannot pass for a line of the command.
    EXPECT_EQ(whole(asking({{"command", "a"}, {"description", "b\nc"}})),
              "a\nagent 的說明：b\nagent 的說明：c\n");
}

TEST(QuestionText, NamesWhatWouldBeRememberedAndWhere) {
    EXPECT_THAT(ctl::rememberedBy(fixture("claude/in/permission_request_bash_multiline.json")),
                ElementsAre("允許 Bash(psql:*)，寫進專案的 .claude/settings.local.json",
                            "允許 Bash(rm:*)，只在這個工作階段有效"));
    EXPECT_THAT(ctl::rememberedBy(fixture("claude/in/permission_request_add_directory.json")),
                ElementsAre("可以使用資料夾 /home/user/work/shared-lib，只在這個工作階段有效",
                            "允許 Read(//home/user/work/shared-lib/**)，只在這個工作階段有效"));
    EXPECT_THAT(ctl::rememberedBy(fixture("claude/in/permission_request_unknown_suggestion.json")),
                ElementsAre(R"({"destination":"userSettings","payload":{"x":1},)"
                            R"("type":"someFutureKind"})",
                            "允許 Bash(docker compose:*)，寫進專案的 .claude/settings.json"));
    EXPECT_THAT(ctl::rememberedBy(fixture("claude/in/permission_request_edit.json")),
                ElementsAre("權限模式改成 acceptEdits，只在這個工作階段有效"));
    EXPECT_TRUE(ctl::rememberedBy(fixture("claude/in/permission_request_bash_bidi.json")).empty());
    // More than a sentence says is not hidden behind one.
    const JSONObject more{{"type", "setMode"}, {"mode", "x"}, {"destination", "session"}, {"y", 1}};
    EXPECT_THAT(ctl::rememberedBy(
                    questionOf(JSONObject{{"permission_suggestions", JSONArray{more, "odd"}}})),
                ElementsAre(HasSubstr(R"("y":1)"), "\"odd\""));
}

} // namespace
