#include "ctl/Watcher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/Clock.h"
#include "core/Text.h"

using ctl::Style;
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

JSONValue answer(const std::string& id, const std::string& action, const char* key = nullptr,
                 const std::string& text = {}) {
    JSONObject body{{"id", id}, {"action", action}};
    if (key)
        body.set(key, text);
    return body;
}

// A person and a program's loop with a clock of their own.
class WatcherTest : public testing::Test {
  protected:
    void begin(Style style = {}) { m_watcher = Watcher{style}; }
    // What is written once the daemon has said this.
    std::string see(JSONArray pending, JSONArray recent = {}) {
        m_watcher.receive(JSONObject{{"presence", JSONObject{{"mode", "on"}, {"away", true}}},
                                     {"pending", std::move(pending)},
                                     {"recent", std::move(recent)}});
        return written();
    }
    // What was written since the last question for it.
    std::string written() {
        write();
        return std::exchange(m_screen, {});
    }
    // Time passes, and the loop wakes up whenever it wants to. Keys count from the end of it on
    // only if it was long enough.
    void wait(std::chrono::milliseconds time) {
        const auto end = m_now + time;
        while (m_watcher.wakeUp().value_or(end) < end)
            turn(*m_watcher.wakeUp());
        turn(end);
    }
    // The bytes arrive in one go after so long.
    void type(std::string_view bytes, std::chrono::milliseconds after = 0ms) {
        if (after > 0ms)
            wait(after);
        // What is there when it opens is thrown away.
        if (!m_watcher.opens(m_now))
            m_watcher.type(bytes, m_now);
        write();
    }
    // The answer that a key gives when nothing came before and nothing follows.
    std::optional<JSONValue> press(std::string_view bytes,
                                   std::chrono::milliseconds after = 600ms) {
        type(bytes, after);
        wait(150ms);
        return taken();
    }
    std::optional<JSONValue> taken() {
        const auto body = m_watcher.takeAnswer();
        return body ? std::optional(JSONValue(*body)) : std::nullopt;
    }

    Watcher::Clock::time_point m_now{1h};
    Watcher m_watcher{Style{}};

  private:
    void turn(Watcher::Clock::time_point now) {
        m_now = now;
        (void)m_watcher.opens(m_now);
        m_watcher.tick(m_now);
        write();
    }
    void write() {
        const std::string text = m_watcher.takeOutput();
        if (!text.empty())
            m_watcher.disturb(m_now);
        m_screen += text;
    }

    std::string m_screen;
};

TEST_F(WatcherTest, TakesAKeyOnlyWhenItIsMeantForTheQuestion) {
    see({permission("one")});
    EXPECT_FALSE(press("a", 599ms));
    EXPECT_FALSE(press("a", 449ms)) << "the key before it puts the moment off";
    EXPECT_FALSE(press("aa", 1h)) << "pasted";
    EXPECT_FALSE(press("\x1b[A", 1h)) << "an arrow";
    for (const char* key : {"\r", "\n", " ", "y", "A", "r", "\x04"})
        EXPECT_FALSE(press(key)) << testing::PrintToString(key);
    wait(1h);
    for (const char byte : std::string_view("apple pie\n"))
        type(std::string_view(&byte, 1), 1ms);
    wait(1h);
    EXPECT_FALSE(taken()) << "pasted over a slow line";

    // The program was stopped while the key waited to be read: it opens at the same moment.
    m_watcher.restyle({});
    (void)written();
    m_now += 2s;
    type("a");
    wait(1h);
    EXPECT_FALSE(taken());
    // It was stopped right after the key.
    type("a");
    m_watcher.disturb(m_now);
    wait(1h);
    EXPECT_FALSE(taken());
    EXPECT_EQ(press("a"), answer("one", "allow"));
    EXPECT_FALSE(press("d")) << "decided already";
}

TEST_F(WatcherTest, AHeldKeyAnswersOneQuestionOnly) {
    for (const auto firstRepetition : {500ms, 660ms, 2000ms}) {
        begin();
        see({permission("one"), permission("two")});
        EXPECT_EQ(press("a"), answer("one", "allow"));
        m_watcher.answered();
        EXPECT_THAT(written(), HasSubstr("[two]"));
        type("a", firstRepetition - 150ms);
        for (int repetition = 0; repetition < 50; ++repetition)
            type("a", 40ms);
        wait(149ms);
        EXPECT_FALSE(taken()) << firstRepetition.count();
    }
}

TEST_F(WatcherTest, AKeyIsForWhatWasDrawnWhenItWasPressed) {
    see({permission("one"), permission("two")});
    type("a", 600ms);
    m_watcher.receive(JSONObject{{"pending", JSONArray{permission("two")}}});
    m_watcher.tick(m_now + 150ms);
    EXPECT_FALSE(taken());
    EXPECT_THAT(written(), HasSubstr("[two]"));
    wait(1h);
    EXPECT_FALSE(taken());

    // The rest of a sentence is not for the question that comes in between.
    EXPECT_FALSE(press("D"));
    (void)written();
    type("not ag");
    EXPECT_THAT(see({permission("three")}),
                AllOf(HasSubstr("剛才寫的文字沒有送出；按 Enter 繼續"), Not(HasSubstr("[three]"))));
    EXPECT_FALSE(press("a", 1h));
    EXPECT_FALSE(press("i", 1h));
    type("n\n");
    EXPECT_THAT(written(), HasSubstr("[three]"));
    EXPECT_FALSE(press("a", 599ms));
}

TEST_F(WatcherTest, SendsWhatEachKeyMeans) {
    see({permission("p", {{"suggestions", JSONArray{JSONObject{{"type", "x"}}}}})});
    EXPECT_EQ(press("A"), answer("p", "always"));
    begin();
    see({permission("p")});
    EXPECT_EQ(press("d"), answer("p", "deny"));

    for (const bool hasReason : {true, false}) {
        begin();
        see({permission("p")});
        EXPECT_FALSE(press("D"));
        type(hasReason ? "no, thanks\x7f\x7f\x1b[D\x1bOA\x1b[[A" : " ");
        type("\x1b\r", 1h);
        wait(80ms);
        EXPECT_EQ(taken(),
                  hasReason ? answer("p", "deny", "message", "no, than") : answer("p", "deny"));
    }
    begin();
    EXPECT_THAT(see({stop("s")}),
                AllOf(HasSubstr("\n│ done\n"), EndsWith("r 給指示  s 先跳過  q 離開\n")));
    EXPECT_FALSE(press("a"));
    for (const char* nothing : {"\n", "changed my mind\x04"}) {
        EXPECT_FALSE(press("r"));
        (void)written();
        type(nothing);
        wait(80ms);
        EXPECT_THAT(written(), AllOf(HasSubstr("取消了"), HasSubstr("r 給指示")));
    }
    EXPECT_FALSE(press("r"));
    type("pasted\x1b\n");
    type("\xE8", 79ms);
    type("\xA1\x8C\xff\n");
    wait(79ms);
    EXPECT_FALSE(taken());
    EXPECT_THAT(written(), EndsWith("pasted\n行\\xFF\n"));
    wait(1ms);
    EXPECT_EQ(taken(), answer("s", "reply", "text", "pasted\n行\uFFFD"));
}

TEST_F(WatcherTest, ALongTextIsSentWholeOrNotAtAll) {
    see({stop("s")});
    EXPECT_FALSE(press("r"));
    const std::string longest(std::size_t{60} << 10, 'x');
    type(longest + "\n");
    wait(80ms);
    EXPECT_EQ(taken(), answer("s", "reply", "text", longest));
    begin();
    see({stop("s")});
    EXPECT_FALSE(press("r"));
    type(longest + longest + "\n");
    EXPECT_THAT(written(), AllOf(HasSubstr("太長了，沒有送出"), HasSubstr("r 給指示")));
    wait(1h);
    EXPECT_FALSE(taken());
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
    EXPECT_TRUE(press("a")) << "nothing moved";
    m_watcher.answered();
    EXPECT_THAT(written(), AllOf(HasSubstr("已允許：Bash\n"), HasSubstr("Notification  8\n"),
                                 HasSubstr("[two]"), EndsWith(permissionKeys)));
    // The daemon's older word of it may come later.
    EXPECT_EQ(see({permission("one"), permission("two")}, recent), "");
}

TEST_F(WatcherTest, SaysWhatBecomesOfAQuestionThatItDoesNotAnswer) {
    see({permission("one"), permission("two"), permission("three")});
    EXPECT_FALSE(press("s"));
    EXPECT_THAT(written(), AllOf(HasSubstr("先跳過：Bash（之後用代號 one 回答）"),
                                 HasSubstr("[two]"), HasSubstr("（後面還有 1 題）")));
    EXPECT_THAT(see({permission("one"), permission("three")}),
                AllOf(HasSubstr("已在別處回答"), HasSubstr("[three]")));

    EXPECT_TRUE(press("a"));
    m_watcher.refused("已經回答過\x1b");
    EXPECT_THAT(written(), AllOf(HasSubstr("已經回答過\\u{001B}\n"), HasSubstr("[three]")));
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
    const JSONValue many =
        permission("many", {{"input", JSONObject{{"command", lines + "\u200b\n"}}}});
    EXPECT_THAT(see({many}), AllOf(HasSubstr("│ 200  line 199\n"), Not(HasSubstr("line 200\n")),
                                   HasSubstr("裡面有看不見的字元"),
                                   HasSubstr("還有 663 個字元沒有顯示，按 v 看全部"),
                                   HasSubstr("⚠ 這一題有 204 行，比畫面高")));
    EXPECT_FALSE(press("v"));
    EXPECT_THAT(written(), AllOf(HasSubstr("line 249\n"), Not(HasSubstr("沒有顯示"))));
    EXPECT_FALSE(press("a", 599ms)) << "it moved";

    begin({.answers = false, .width = 0});
    std::string wide;
    for (int i = 0; i < 30'000; ++i)
        wide += "寬";
    EXPECT_THAT(see({permission("wide", {{"input", JSONObject{{"command", wide}}}})}),
                AllOf(HasSubstr("寬\n⚠ 還有 8155 個字元沒有顯示\n"),
                      EndsWith("回答：tamsellctl answer wide allow|always|deny\n")));
    EXPECT_THAT(see({}), HasSubstr("已在別處回答"));
}

TEST_F(WatcherTest, NoRowOfTheAgentsStandsWithoutItsBar) {
    begin({.width = 40, .height = 100});
    const std::string blanks(40, ' ');
    const std::string forged = blanks + "forged" + blanks + blanks + "宽forged\tforged";
    const JSONValue rule = JSONObject{{"type", forged}};
    const std::string text =
        see({permission("one", {{"cwd", forged},
                                {"tool", forged},
                                {"client", forged},
                                {"suggestions", JSONArray{rule}},
                                {"input", JSONObject{{"command", forged}, {"x", forged}}}})},
            {event(forged)});
    for (std::size_t at = 0; at < text.size();) {
        const std::string line = text.substr(at, text.find('\n', at) - at);
        at += line.size() + 1;
        EXPECT_LE(text::columns(line), 40U) << line;
        EXPECT_TRUE(line.find("forged") == std::string::npos || line.starts_with("│ ")) << line;
    }
    EXPECT_THAT(text, HasSubstr("forged"));
}

} // namespace
