#include "daemon/Replies.h"

#include <gtest/gtest.h>

namespace {

std::string text(const std::optional<JSONObject>& reply) {
    return reply ? json::compact(*reply).value() : "";
}

JSONValue parsed(std::string_view text) {
    return JSONValue::parse(text).value();
}

} // namespace

// What an agent accepts is fixed to the letter: Codex voids a whole answer for one unknown member.
TEST(Replies, PermissionAnswersAreExact) {
    const JSONValue suggestions =
        parsed(R"([{"type":"addRules","rules":[{"toolName":"Bash","n":12345678901234567890}]}])");
    const std::string always =
        R"("decision":{"behavior":"allow","updatedPermissions":[{"rules":[{"n":12345678901234567890,"toolName":"Bash"}],"type":"addRules"}]})";
    const struct {
        std::optional<JSONValue> suggestions;
        JSONObject answer;
        std::string decision;
    } cases[] = {
        {suggestions, {{"action", "allow"}}, R"("decision":{"behavior":"allow"})"},
        {suggestions, {{"action", "always"}}, always},
        {std::nullopt, {{"action", "always"}}, R"("decision":{"behavior":"allow"})"},
        {JSONValue(), {{"action", "always"}}, R"("decision":{"behavior":"allow"})"},
        {suggestions,
         {{"action", "deny"}},
         R"("decision":{"behavior":"deny","message":"Denied from phone"})"},
        {{},
         {{"action", "deny"}, {"message", ""}},
         R"("decision":{"behavior":"deny","message":"Denied from phone"})"},
        {{},
         {{"action", "deny"}, {"message", 5}},
         R"("decision":{"behavior":"deny","message":"Denied from phone"})"},
        {{},
         {{"action", "deny"}, {"message", "not now"}},
         R"("decision":{"behavior":"deny","message":"not now"})"},
    };
    for (const auto& [given, answer, decision] : cases) {
        PendingItem item;
        item.suggestions = given;
        EXPECT_EQ(text(replies::build(item, answer)),
                  R"({"hookSpecificOutput":{)" + decision +
                      R"(,"hookEventName":"PermissionRequest"}})");
    }
    for (const JSONValue& action :
         {JSONValue("reply"), JSONValue("Allow"), JSONValue(true), JSONValue()})
        EXPECT_EQ(replies::build(PendingItem{}, {{"action", action}}), std::nullopt);
    EXPECT_EQ(replies::build(PendingItem{}, {}), std::nullopt);
}

TEST(Replies, StopAnswersCarryTheTrimmedInstruction) {
    PendingItem item;
    item.kind = PendingItem::Kind::stop;
    EXPECT_EQ(
        text(replies::build(item,
                            {{"action", "reply"}, {"text", " \n run the tests \xE3\x80\x80"}})),
        R"({"decision":"block","reason":"The user sent a new instruction from their phone. Do this next:\n\nrun the tests"})");
    for (const JSONObject& answer :
         {JSONObject{{"action", "reply"}, {"text", " \n"}}, JSONObject{{"action", "reply"}},
          JSONObject{{"action", "allow"}, {"text", "x"}}, JSONObject{{"text", "x"}}})
        EXPECT_EQ(replies::build(item, answer), std::nullopt);
}

TEST(Replies, NotificationsSayWhatIsAsked) {
    PendingItem item;
    item.id = "i";
    item.expiresAt = 5;
    item.cwd = "/home/user/orchard/";
    item.tool = "Bash";
    item.input = JSONObject{{"command", std::string(400, 'x')}};
    EXPECT_EQ(JSONValue(replies::notifyPayload(item)),
              JSONValue(JSONObject{{"target", "i"},
                                   {"kind", "permission"},
                                   {"project", "orchard"},
                                   {"expiresAt", 5},
                                   {"detail", std::string(300, 'x')},
                                   {"tool", "Bash"},
                                   {"canAlways", false}}));
    const auto canAlways = [&](const JSONValue& suggestions) {
        item.suggestions = suggestions;
        return *replies::notifyPayload(item).find("canAlways")->boolean();
    };
    EXPECT_TRUE(canAlways(parsed("[1]")));
    EXPECT_FALSE(canAlways(parsed("[]")));
    EXPECT_FALSE(canAlways(parsed("{\"a\":1}")));

    // One character of a megabyte must not keep the phones from being told.
    std::string tall = "x";
    for (int i = 0; i < 500'000; ++i)
        tall += "\u0301";
    item.input = JSONObject{{"command", tall}};
    item.tool = tall;
    item.cwd = "/" + tall;
    EXPECT_LT(json::compact(replies::notifyPayload(item))->size(), 16'384U);

    item.tool.reset();
    item.cwd.reset();
    item.input = parsed(R"({"plan":"x"})");
    JSONObject payload = replies::notifyPayload(item);
    EXPECT_TRUE(payload.find("tool")->isNull());
    EXPECT_EQ(*payload.find("project")->string(), "");
    EXPECT_EQ(*payload.find("detail")->string(), R"({"plan":"x"})");

    item.kind = PendingItem::Kind::stop;
    item.lastMessage = "done";
    payload = replies::notifyPayload(item);
    EXPECT_EQ(*payload.find("detail")->string(), "done");
    EXPECT_EQ(payload.find("tool"), nullptr);
    EXPECT_EQ(payload.find("canAlways"), nullptr);
}
