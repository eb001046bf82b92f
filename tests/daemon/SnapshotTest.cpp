#include "daemon/Snapshot.h"

#include <gtest/gtest.h>

namespace {

std::shared_ptr<const PendingItem> item(const std::string& id) {
    PendingItem result;
    result.id = id;
    result.input = JSONObject{{"command", "ls " + id}};
    return std::make_shared<const PendingItem>(result);
}

JSONObject event(const std::string& session, const std::string& prompt) {
    return {{"session_id", session}, {"hook_event_name", "UserPromptSubmit"}, {"prompt", prompt}};
}

} // namespace

TEST(Snapshot, ListsSessionsNewestFirstAndTheLastFiftyEvents) {
    Activity activity;
    activity.record(event("a", "first"), "terminal", 30);
    activity.record(event("b", "second"), "terminal", 10);
    activity.record(event("c", "third"), "terminal", 20);
    for (int i = 0; i < 117; ++i)
        activity.record(event("a", std::to_string(i)), "terminal", 30);
    const JSONValue whole = snapshot({{{"mode", "auto"}}, activity, {}, JSONValue()});

    const JSONArray& sessions = *whole["sessions"]->array();
    ASSERT_EQ(sessions.size(), 3U);
    EXPECT_EQ(*sessions[0]["id"]->string(), "a");
    EXPECT_EQ(*sessions[1]["id"]->string(), "c");
    EXPECT_EQ(*sessions[2]["id"]->string(), "b");
    EXPECT_EQ(sessions[0]["cwd"], nullptr) << "absent fields are left out";
    const JSONArray& recent = *whole["recent"]->array();
    ASSERT_EQ(recent.size(), 50U);
    EXPECT_EQ(*recent.front()["summary"]->string(), "67");
    EXPECT_EQ(*recent.back()["summary"]->string(), "116");
}

// The remembered texts must never differ from a fresh encoding, and must really be remembered.
TEST(Snapshot, EncoderWritesTheSnapshotAndEncodesOnlyWhatChanged) {
    Activity activity;
    PendingItems pending;
    SnapshotEncoder encoder;
    const auto check = [&] {
        const SnapshotSource source{{{"away", true}}, activity, pending, JSONObject{{"phones", 0}}};
        std::string text;
        const std::uint64_t before = encoder.encoded();
        encoder.append(text, source);
        EXPECT_EQ(JSONValue::parse(text), snapshot(source));
        return encoder.encoded() - before;
    };
    EXPECT_EQ(check(), 0U);
    for (int i = 0; i < 300; ++i)
        activity.record(event("session " + std::to_string(i), "p"), "terminal", i);
    for (int i = 0; i < 100; ++i)
        pending.push_back(item(std::to_string(i)));
    EXPECT_EQ(check(), 300U + 100U + 50U);
    EXPECT_EQ(check(), 0U);
    activity.record(event("session 7", "again"), "terminal", 1000);
    EXPECT_EQ(check(), 2U) << "one session and its event";
    for (int i = 0; i < 90; ++i) {
        encoder.forget(pending.front());
        pending.erase(pending.begin());
    }
    EXPECT_EQ(check(), 0U);
    pending.push_back(item("new"));
    EXPECT_EQ(check(), 1U);
    for (int i = 0; i < 500; ++i)
        activity.record(event("session 7", "again"), "terminal", 1001);
    EXPECT_EQ(check(), 51U);
    encoder.forget();
    EXPECT_EQ(check(), 300U + 11U + 50U);
}
