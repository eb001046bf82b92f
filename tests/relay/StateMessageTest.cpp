#include "relay/StateMessage.h"

#include <gmock/gmock.h>

#include "core/JSONMember.h"

namespace {

JSONObject session(const char* id, bool ended) {
    return {{"id", id}, {"ended", ended}, {"lastMessage", std::string(1000, 'm')}};
}

JSONObject item(const char* id, std::size_t commandLength) {
    return {{"id", id},
            {"input", JSONObject{{"command", std::string(commandLength, 'c')}, {"timeout", 5}}}};
}

const JSONValue snapshot = JSONObject{
    {"presence", JSONObject{{"mode", "on"}}},
    {"sessions", JSONArray{session("live", false), session("ended", true)}},
    {"pending", JSONArray{item("small", 3'000), item("large", 9'000), item("tiny", 10)}}};

/// The state as a phone gets it under this limit.
JSONValue stateWithin(std::size_t limit, const JSONValue& of = snapshot) {
    const auto message = stateMessage(of, limit);
    if (!message)
        return {};
    const std::string text = message->stamped("id", 0);
    EXPECT_LE(text.size(), limit);
    return json::member(*JSONValue::parse(text), "state");
}

TEST(StateMessage, LosesNoMoreThanItMust) {
    const std::size_t whole = stateMessage(snapshot, 1 << 20)->size();
    EXPECT_EQ(stateWithin(whole), snapshot);

    JSONValue state = stateWithin(whole - 1);
    EXPECT_EQ(json::arrayOf(state, "sessions"), JSONArray{session("live", false)});
    EXPECT_EQ(json::member(state, "pending"), json::member(snapshot, "pending"));

    state = stateWithin(whole - 1'500);
    EXPECT_EQ(json::arrayOf(state, "sessions").at(0),
              JSONValue(JSONObject{{"id", "live"}, {"ended", false}}));
    EXPECT_EQ(json::member(state, "pending"), json::member(snapshot, "pending"));

    state = stateWithin(whole - 2'500);
    const JSONArray& pending = json::arrayOf(state, "pending");
    EXPECT_EQ(pending.at(0), JSONValue(item("small", 3'000)));
    JSONObject shortened = item("large", 2'000);
    shortened.set("truncated", true);
    EXPECT_EQ(pending.at(1), JSONValue(shortened));

    state = stateWithin(whole - 9'500);
    EXPECT_TRUE(json::isTrue(json::arrayOf(state, "pending").at(0), "truncated"));
    EXPECT_FALSE(json::isTrue(json::arrayOf(state, "pending").at(2), "truncated"));
    EXPECT_EQ(stateWithin(100), JSONValue()) << "what cannot be made to fit is not sent";
}

TEST(StateMessage, CutsWhateverAnAgentMadeLong) {
    std::vector<JSONObject::Member> manyMembers;
    for (int i = 0; i < 20'000; ++i)
        manyMembers.emplace_back("key" + std::to_string(i), "value");
    std::string oneCharacter = "a";
    for (int i = 0; i < 100'000; ++i)
        oneCharacter += "\u0301";
    const JSONObject items[] = {
        {{"input", JSONObject::fromMembers(std::move(manyMembers))}},
        {{"input", JSONObject{{"command", oneCharacter}}}},
        {{"suggestions", JSONArray(20'000, JSONValue("suggestion"))}},
        {{"lastMessage", std::string(200'000, 'x')}},
        {{"cwd", std::string(200'000, '/')}},
    };
    for (const JSONObject& long_ : items) {
        const JSONValue of = JSONObject{{"pending", JSONArray{long_}}};
        const JSONValue state = stateWithin(140'000, of);
        ASSERT_EQ(json::arrayOf(state, "pending").size(), 1U) << long_.begin()->first;
        EXPECT_TRUE(json::isTrue(json::arrayOf(state, "pending")[0], "truncated"));
    }
}

TEST(StateMessage, QuestionsComeFirst) {
    // One that cannot be made shorter, because its texts are short, keeps no other from it.
    JSONArray shortTexts;
    for (int i = 0; i < 6'000; ++i)
        shortTexts.emplace_back("short text");
    JSONArray pending{JSONObject{{"id", "many"}, {"input", shortTexts}}};
    for (int i = 0; i < 40; ++i)
        pending.emplace_back(item("one", 50'000));
    JSONArray recent;
    JSONArray sessions;
    for (int i = 0; i < 50; ++i) {
        recent.emplace_back(JSONObject{{"summary", std::string(10'000, 's')}});
        sessions.emplace_back(JSONObject{{"cwd", std::string(10'000, 'd')}});
    }
    const JSONValue all =
        JSONObject{{"pending", pending}, {"recent", recent}, {"sessions", sessions}};
    JSONValue state = stateWithin(1'300'000, all);
    EXPECT_EQ(json::arrayOf(state, "pending").size(), 41U);
    EXPECT_EQ(json::arrayOf(state, "recent"), recent);
    state = stateWithin(300'000, all);
    EXPECT_EQ(json::arrayOf(state, "pending").size(), 41U);
    EXPECT_TRUE(json::arrayOf(state, "recent").empty());
}

} // namespace
