#include "daemon/HookBody.h"

#include <gtest/gtest.h>

#include "daemon/Activity.h"
#include "daemon/Presence.h"

TEST(HookBody, RepairsCutSurrogatePairsAndNothingElse) {
    const struct {
        std::string_view text;
        std::string_view repaired;
    } cases[] = {
        {R"({"a":"cut \ud83d"})", R"({"a":"cut \uFFFD"})"},
        {R"({"a":"\ude00 lost its first half"})", R"({"a":"\uFFFD lost its first half"})"},
        {R"({"a":"\ud83d\ud83d\ude00"})", R"({"a":"\uFFFD\ud83d\ude00"})"},
        {R"({"a":"\ud83d\u0041"})", R"({"a":"\uFFFD\u0041"})"},
        {R"({"a":"whole \ud83d\ude00"})", R"({"a":"whole \ud83d\ude00"})"},
        {R"({"a":"a backslash \\ud83d"})", R"({"a":"a backslash \\ud83d"})"},
        {R"({"a":"\\\ud83d"})", R"({"a":"\\\uFFFD"})"},
        {R"({"a":"\ud8)", R"({"a":"\ud8)"},
        {R"(\)", R"(\)"},
    };
    for (const auto& [text, repaired] : cases)
        EXPECT_EQ(hookbody::withoutLoneSurrogates(text), repaired);

    const JSONObject body = hookbody::parse(R"({"session_id":"s","prompt":"cut \ud83d"})");
    EXPECT_EQ(*body.string("session_id"), "s");
    EXPECT_EQ(*body.string("prompt"), "cut \xEF\xBF\xBD");
    for (const char* bad : {"", "[1]", "{\"a\":}", "{\"a\":\"\xff\"}", "{\"a\":1} x", "null"})
        EXPECT_TRUE(hookbody::parse(bad).empty()) << bad;
}

TEST(HookBody, DetectsTheClient) {
    const struct {
        const char* parent;
        const char* client;
    } cases[] = {
        {"", "unknown"},
        {"/usr/local/bin/claude --resume", "terminal"},
        {"claude", "terminal"},
        {"node /opt/x/claude", "terminal"},
        {"claude-code-helper", "other"},
        {"notclaude --x", "other"},
        {"/home/claudette/bin/agent", "other"},
        {"/Users/me/Library/Application Support/Claude/claude-code/2.1/claude", "Claude.app"},
        {"claude --output-format stream-json", "SDK"},
        {"bash", "other"},
    };
    for (const auto& [parent, client] : cases)
        EXPECT_EQ(hookbody::detectClient({{"_parent", parent}}), client) << parent;
    EXPECT_EQ(hookbody::detectClient({}), "unknown");
    EXPECT_EQ(hookbody::detectClient({{"_client", "codex"}, {"_parent", "claude"}}), "Codex");
    EXPECT_EQ(hookbody::detectClient({{"_client", "Codex"}, {"_parent", "claude"}}), "terminal");
}

TEST(HookBody, SummarizesTheFirstTextThatIsThere) {
    const JSONValue both = JSONObject{{"command", "ls"}, {"file_path", "/a"}};
    EXPECT_EQ(hookbody::summarize({{"tool_input", both}, {"prompt", "p"}}), "ls");
    EXPECT_EQ(
        hookbody::summarize({{"tool_input", JSONObject{{"command", 1}, {"file_path", "/a"}}}}),
        "/a");
    EXPECT_EQ(hookbody::summarize({{"tool_input", "ls"}, {"prompt", "p"}, {"message", "m"}}), "m");
    EXPECT_EQ(hookbody::summarize({{"last_assistant_message", "done"}}), "done");
    EXPECT_EQ(hookbody::summarize({{"message", 5}}), "");
    // 300 characters of two code points each: characters are cut, not bytes or code points.
    std::string long_;
    for (int i = 0; i < 300; ++i)
        long_ += "e\xCC\x81";
    EXPECT_EQ(hookbody::summarize({{"prompt", long_}}), long_.substr(0, std::size_t{200} * 3));
}

TEST(Activity, CountsSessionsAndKeepsTheNewestEvents) {
    Activity activity;
    activity.record({{"session_id", "abcdefghijk"},
                     {"hook_event_name", "PreToolUse"},
                     {"cwd", "/w"},
                     {"tool_name", "Bash"},
                     {"last_assistant_message", "hello"},
                     {"permission_mode", "plan"}},
                    "terminal", 1000);
    const Session& session = activity.record({{"session_id", "abcdefghijk"}}, "SDK", 2000);
    EXPECT_EQ(session.client, "terminal");
    EXPECT_EQ(session.events, 2);
    EXPECT_EQ(session.startedAt, 1000);
    EXPECT_EQ(session.lastAt, 2000);
    EXPECT_EQ(session.cwd, "/w");
    EXPECT_EQ(session.permissionMode, "plan");
    EXPECT_EQ(session.lastMessage, "hello");
    EXPECT_EQ(session.lastEvent, std::nullopt) << "an event without a name clears it";
    EXPECT_EQ(session.ended, std::nullopt);
    EXPECT_EQ(activity.recent().front().session, "abcdefgh");
    EXPECT_EQ(activity.recent().front().tool, "Bash");

    EXPECT_EQ(activity.record({{"session_id", 7}, {"hook_event_name", "SessionEnd"}}, "x", 3).id,
              "unknown");
    EXPECT_EQ(activity.sessions().at("unknown").ended, true);
    for (int i = 0; i < 200; ++i)
        activity.record({{"prompt", std::to_string(i)}}, "x", i);
    EXPECT_EQ(activity.recent().size(), 200U);
    EXPECT_EQ(activity.recent().front().summary, "0");
    EXPECT_EQ(activity.total(), 203U);
}

TEST(Presence, DecidesByModeAndIdleTime) {
    const auto decide = [](const JSONObject& settings, double idle) {
        return presence::isAway(Config::over(settings), [=] { return idle; });
    };
    EXPECT_FALSE(decide({{"mode", "off"}}, 1e9));
    EXPECT_TRUE(decide({{"mode", "on"}}, 0));
    EXPECT_FALSE(decide({}, 299.9));
    EXPECT_TRUE(decide({}, 300));
    EXPECT_TRUE(decide({{"idleMinutes", 0}}, 0));
    EXPECT_FALSE(decide({{"idleMinutes", "0"}}, 299)) << "a wrong type reads as five minutes";
    EXPECT_FALSE(decide({{"mode", "On"}}, 0)) << "an unknown mode reads as auto";
    for (const char* mode : {"off", "on"})
        EXPECT_EQ(presence::isAway(Config::over({{"mode", mode}}),
                                   []() -> double {
                                       ADD_FAILURE() << "only auto may ask for the idle time";
                                       return 0;
                                   }),
                  mode == std::string_view("on"));

    const auto forced = [](const std::optional<std::string>& value) {
        return presence::forcedIdleSeconds([=](const char*) { return value; });
    };
    EXPECT_EQ(forced("299.9"), 299.9);
    EXPECT_EQ(forced("3e2"), 300);
    EXPECT_EQ(forced("+5"), 5);
    for (const char* bad : {"", "abc", "5x", " 5", "nan", "inf", "+-5", "0x10"})
        EXPECT_EQ(forced(bad), std::nullopt) << bad;
    EXPECT_EQ(forced(std::nullopt), std::nullopt);
}
