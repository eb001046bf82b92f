#include "ctl/Watcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Clock.h"

using ctl::Watcher;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

namespace {

constexpr const char* permissionKeys = "a 允許  d 拒絕  D 拒絕並說明  s 先跳過  q 離開\n";

JSONValue permission(const std::string& id, JSONObject more = {}) {
    more.set("id", id);
    more.set("kind", "permission");
    more.set("tool", "Bash");
    more.set("expiresAt", wallclock::milliseconds() + 100'000);
    if (!more.find("input"))
        more.set("input", JSONObject{{"command", "run " + id}});
    return more;
}

JSONValue stop(const std::string& id) {
    return JSONObject{{"id", id}, {"kind", "stop"}, {"lastMessage", "done"}};
}

JSONValue event(const std::string& summary) {
    return JSONObject{{"at", 0}, {"event", "Notification"}, {"summary", summary}};
}

// A person with a clock of their own.
class WatcherTest : public testing::Test {
  protected:
    // What is written once the daemon has said this.
    std::string see(JSONArray pending, JSONArray recent = {}) {
        m_watcher.receive(JSONObject{{"presence", JSONObject{{"mode", "on"}, {"away", true}}},
                                     {"pending", std::move(pending)},
                                     {"recent", std::move(recent)}});
        return written();
    }
    std::string written() {
        const std::string text = m_watcher.takeOutput();
        if (!text.empty())
            m_watcher.drawn(m_now);
        return text;
    }
    // The answer that a key gives after so long.
    std::optional<JSONObject> press(std::string_view bytes,
                                    std::chrono::milliseconds after = Watcher::quietPeriod) {
        m_now += after;
        m_watcher.type(bytes, m_now);
        return m_watcher.takeAnswer();
    }
    // The one that a line gives after which nothing follows.
    std::optional<JSONObject> enter(std::string_view line) {
        m_watcher.type(line, m_now);
        m_watcher.tick(m_watcher.wakeUp().value_or(m_now));
        return m_watcher.takeAnswer();
    }

    Watcher::Clock::time_point m_now{1h};
    Watcher m_watcher{Watcher::Style{}};
};

TEST_F(WatcherTest, TakesAKeyOnlyWhenItIsMeantForTheQuestion) {
    see({permission("one")});
    EXPECT_FALSE(press("a", 599ms));
    EXPECT_FALSE(press("a", 1ms)) << "the key before it puts the moment off";
    EXPECT_FALSE(press("aa", 1h)) << "pasted";
    EXPECT_FALSE(press("\x1b[A", 1h)) << "an arrow";
    for (const char* key : {"\r", "\n", " ", "y", "A", "r", "\x04"})
        EXPECT_FALSE(press(key)) << testing::PrintToString(key);
    for (int repetition = 0; repetition < 100; ++repetition)
        EXPECT_FALSE(press("a", 30ms)) << "held down";
    EXPECT_EQ(JSONValue(press("a").value()),
              JSONValue(JSONObject{{"id", "one"}, {"action", "allow"}}));
    EXPECT_FALSE(press("d")) << "decided already";
}

TEST_F(WatcherTest, SendsWhatEachKeyMeans) {
    const JSONObject rule{{"suggestions", JSONArray{JSONObject{{"type", "x"}}}}};
    const auto answer = [&](JSONValue item, std::string_view key) {
        m_watcher = Watcher{Watcher::Style{}};
        see({std::move(item)});
        return JSONValue(press(key).value());
    };
    EXPECT_EQ(answer(permission("p", rule), "A"),
              JSONValue(JSONObject{{"id", "p"}, {"action", "always"}}));
    EXPECT_EQ(answer(permission("p"), "d"), JSONValue(JSONObject{{"id", "p"}, {"action", "deny"}}));
    EXPECT_EQ(JSONValue(m_watcher.takeAnswer() ? 1 : 0), JSONValue(0)) << "only once";

    for (const auto& [line, message] : {std::pair("no\n", "no"), std::pair(" \n", "")}) {
        m_watcher = Watcher{Watcher::Style{}};
        see({permission("p")});
        EXPECT_FALSE(press("D"));
        EXPECT_EQ(m_watcher.input(), Watcher::Input::line);
        JSONObject expected{{"id", "p"}, {"action", "deny"}};
        if (*message != '\0')
            expected.set("message", message);
        EXPECT_EQ(JSONValue(enter(line).value()), JSONValue(expected));
    }
    m_watcher = Watcher{Watcher::Style{}};
    EXPECT_THAT(see({stop("s")}),
                AllOf(HasSubstr("\ndone\n"), EndsWith("r 給指示  s 先跳過  q 離開\n")));
    EXPECT_FALSE(press("a"));
    EXPECT_FALSE(press("r"));
    EXPECT_FALSE(enter("\n")) << "nothing to do";
    EXPECT_EQ(m_watcher.input(), Watcher::Input::keys);
    EXPECT_THAT(written(), HasSubstr("r 給指示"));
    EXPECT_FALSE(press("r"));
    m_watcher.type("pasted\n", m_now);
    m_watcher.tick(m_now + 79ms);
    m_watcher.type("lines\n", m_now + 79ms);
    m_watcher.tick(m_now + 80ms);
    EXPECT_FALSE(m_watcher.takeAnswer());
    m_watcher.tick(m_now + 159ms);
    EXPECT_EQ(JSONValue(m_watcher.takeAnswer().value()),
              JSONValue(JSONObject{{"id", "s"}, {"action", "reply"}, {"text", "pasted\nlines"}}));
}

TEST_F(WatcherTest, WritesNothingWhileAQuestionIsDrawn) {
    JSONArray recent;
    for (const char* summary : {"1", "2", "3", "4", "5", "6"})
        recent.push_back(event(summary));
    EXPECT_THAT(see({}, recent), AllOf(Not(HasSubstr("Notification  1\n")),
                                       HasSubstr("Notification  2\n"), EndsWith("  6\n")));
    recent.erase(recent.begin());
    recent.push_back(event("7"));
    EXPECT_THAT(see({}, recent), testing::MatchesRegex("..:..:..  Notification  7\n"));
    EXPECT_EQ(see({}, recent), "");

    EXPECT_THAT(see({permission("one")}, recent), EndsWith(permissionKeys));
    recent.push_back(event("8"));
    EXPECT_EQ(see({permission("one"), permission("two")}, recent), "");
    EXPECT_TRUE(press("a", 600ms)) << "nothing moved";
    m_watcher.answered(std::nullopt);
    EXPECT_THAT(written(), AllOf(HasSubstr("已允許：Bash\n"), HasSubstr("Notification  8\n"),
                                 HasSubstr("[two]"), EndsWith(permissionKeys)));
    // The daemon's older word of it may come later.
    EXPECT_EQ(see({permission("one"), permission("two")}, recent), "");
    EXPECT_FALSE(press("a", 599ms));
}

TEST_F(WatcherTest, SaysWhatBecomesOfAQuestionThatItDoesNotAnswer) {
    see({permission("one"), permission("two"), permission("three")});
    EXPECT_FALSE(press("s"));
    EXPECT_THAT(written(), AllOf(HasSubstr("先跳過：Bash（之後用代號 one 回答）"),
                                 HasSubstr("[two]"), HasSubstr("（後面還有 1 題）")));
    EXPECT_FALSE(press("D"));
    EXPECT_THAT(written(), HasSubstr("拒絕的原因"));
    EXPECT_THAT(see({permission("one"), permission("three")}),
                AllOf(HasSubstr("已在別處回答"), HasSubstr("[three]")));
    EXPECT_EQ(m_watcher.input(), Watcher::Input::keys);
    EXPECT_FALSE(enter("half a reason\n"));

    EXPECT_TRUE(press("a"));
    m_watcher.answered("已經回答過或已逾時");
    EXPECT_THAT(written(), HasSubstr("沒有送出：已經回答過或已逾時"));
    m_watcher.lose("broken");
    EXPECT_EQ(written(), "broken；會一直重試\n");
    EXPECT_FALSE(press("a"));
    m_watcher.lose("broken");
    EXPECT_EQ(written(), "");
    EXPECT_THAT(see({permission("one"), permission("three")}),
                AllOf(HasSubstr("已重新連上 Tamsell"), HasSubstr("[three]")))
        << "what was put aside stays so";
    EXPECT_FALSE(press("q"));
    EXPECT_TRUE(m_watcher.hasEnded());
}

TEST_F(WatcherTest, TellsHowMuchOfALongQuestionIsNotShown) {
    std::string lines;
    for (int i = 0; i < 250; ++i)
        lines += "line " + std::to_string(i) + "\n";
    const JSONValue many = permission("many", {{"input", JSONObject{{"command", lines}}}});
    EXPECT_THAT(see({many}), AllOf(HasSubstr("line 199\n"), Not(HasSubstr("line 200\n")),
                                   HasSubstr("後面還有 650 個字元沒有顯示，按 v 看全部")));
    EXPECT_FALSE(press("v"));
    EXPECT_THAT(written(), AllOf(HasSubstr("line 249\n"), Not(HasSubstr("沒有顯示"))));
    EXPECT_FALSE(press("a", 599ms)) << "it moved";

    m_watcher = Watcher{Watcher::Style{.answers = false}};
    std::string wide;
    for (int i = 0; i < 30'000; ++i)
        wide += "寬";
    EXPECT_THAT(see({permission("wide", {{"input", JSONObject{{"command", wide}}}})}),
                AllOf(HasSubstr("寬\n⚠ 後面還有 8155 個字元沒有顯示\n"),
                      EndsWith("回答：tamsellctl answer wide allow|always|deny\n")));
    EXPECT_THAT(see({}), HasSubstr("已在別處回答"));
}

} // namespace
