#include <filesystem>
#include <sstream>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/RunningDaemon.h"

namespace fs = std::filesystem;

namespace {

struct Event {
    std::string agent;
    std::string file;
    std::string bytes;
    JSONObject value;

    [[nodiscard]] std::string name() const { return *value.find("hook_event_name")->string(); }
};

fs::path fixtures(const std::string& agent) {
    return fs::path(TAMSELL_FIXTURES) / agent;
}

JSONValue output(const std::string& agent, std::string_view file) {
    return JSONValue::parse(contentOf(fixtures(agent) / "out" / file)).value();
}

/// Everything that the agents are known to send.
std::vector<Event> allEvents() {
    std::vector<Event> events;
    for (const std::string agent : {"claude", "codex"}) {
        for (const std::string& file : namesIn(fixtures(agent) / "in")) {
            const std::string bytes = contentOf(fixtures(agent) / "in" / file);
            events.push_back({agent, file, bytes, *JSONValue::parse(bytes).value().object()});
        }
    }
    return events;
}

std::string shownClient(const Event& event) {
    return event.agent == "codex" ? "Codex" : "terminal";
}

struct Answer {
    JSONObject given;
    JSONValue expected; // What the agent reads; null when it reads nothing.
};

std::vector<Answer> permissionAnswers(const Event& event) {
    const JSONValue allow = output(event.agent, "permission_allow.json");
    const JSONValue deny = output(event.agent, "permission_deny.json");
    const JSONValue& reason = *(*deny["hookSpecificOutput"])["decision"]->object()->find("message");
    const auto withDecision = [](JSONValue reply, std::string_view key, const JSONValue& value) {
        JSONValue* decision =
            reply.object()->find("hookSpecificOutput")->object()->find("decision");
        decision->object()->set(key, value);
        return reply;
    };
    const JSONValue* suggestions = event.value.find("permission_suggestions");
    return {
        {{{"action", "allow"}}, allow},
        {{{"action", "always"}},
         suggestions ? withDecision(allow, "updatedPermissions", *suggestions) : allow},
        {{{"action", "deny"}, {"message", reason}}, deny},
        {{{"action", "deny"}, {"message", ""}}, withDecision(deny, "message", "Denied from phone")},
        {{{"action", "reply"}, {"text", "go on"}}, JSONValue()},
    };
}

std::vector<Answer> stopAnswers(const Event& event) {
    const JSONValue block = output(event.agent, "stop_block.json");
    const std::string text = *block["reason"]->string();
    JSONValue expected = block;
    expected.object()->set(
        "reason", "The user sent a new instruction from their phone. Do this next:\n\n" + text);
    return {
        {{{"action", "reply"}, {"text", "\n " + text + " \n"}}, expected},
        {{{"action", "reply"}, {"text", " \n"}}, JSONValue()},
        {{{"action", "allow"}}, JSONValue()},
    };
}

/// The item that stands for the event, but for its id and times.
JSONObject expectedItem(const Event& event) {
    JSONObject item{{"client", shownClient(event)}};
    const auto take = [&](std::string_view key, std::string_view from) {
        const JSONValue* value = event.value.find(from);
        if (value && !value->isNull())
            item.set(key, *value);
    };
    take("sessionId", "session_id");
    take("cwd", "cwd");
    if (event.name() == "Stop") {
        item.set("kind", "stop");
        take("lastMessage", "last_assistant_message");
        take("chained", "stop_hook_active");
    } else {
        item.set("kind", "permission");
        take("tool", "tool_name");
        take("input", "tool_input");
        take("suggestions", "permission_suggestions");
    }
    return item;
}

} // namespace

TEST(Hook, EventsAtTheDeskAreRecordedAndSayNothingToTheAgent) {
    const std::vector<Event> events = allEvents();
    ASSERT_GE(events.size(), 37U);
    const RunningDaemon daemon({{"mode", "off"}}, RunningDaemon::Port::inTheSettings);
    for (const Event& event : events) {
        const auto hook = daemon.runHook(event.agent, event.bytes);
        EXPECT_EQ(hook->exitCode(), 0) << event.file;
        EXPECT_EQ(hook->output(), "") << event.file;
    }

    const JSONValue state = daemon.state();
    EXPECT_EQ(*state["pending"], JSONValue(JSONArray()));
    const JSONArray& recent = *state["recent"]->array();
    ASSERT_EQ(recent.size(), events.size());
    std::map<std::string, int> counts;
    std::istringstream log(contentOf(daemon.home() / "logs/events.jsonl"));
    for (std::size_t i = 0; i < events.size(); ++i) {
        SCOPED_TRACE(events[i].file);
        EXPECT_EQ(*recent[i]["event"], JSONValue(events[i].name()));
        EXPECT_EQ(*recent[i]["client"], JSONValue(shownClient(events[i])));
        ++counts[*events[i].value.find("session_id")->string()];

        std::string line;
        ASSERT_TRUE(std::getline(log, line));
        const auto value = JSONValue::parse(line);
        ASSERT_TRUE(value && value->object()) << line;
        JSONObject logged = *value->object();
        ASSERT_TRUE(logged.find("_client") && logged.find("_parent") && logged.find("_at"));
        EXPECT_EQ(*logged.find("_client"), JSONValue(shownClient(events[i])));
        EXPECT_EQ(*logged.find("_parent"),
                  JSONValue(RunningDaemon::agentCommandLine(events[i].agent)));
        EXPECT_EQ(*logged.find("_at"), *recent[i]["at"]);
        for (const auto* added : {"_client", "_parent", "_at"})
            logged.erase(added);
        EXPECT_EQ(logged, events[i].value);
    }
    EXPECT_EQ(log.peek(), std::istringstream::traits_type::eof());
    EXPECT_EQ(state["sessions"]->array()->size(), counts.size());
    for (const JSONValue& session : *state["sessions"]->array())
        EXPECT_EQ(*session["events"], JSONValue(counts[*session["id"]->string()]));

    struct stat status {};
    ASSERT_EQ(::stat((daemon.home() / "logs/events.jsonl").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST(Hook, AnAwayUsersAnswerReachesTheAgentExactly) {
    const RunningDaemon daemon({{"mode", "on"}, {"permissionWait", 600}, {"stopWait", 300}},
                               RunningDaemon::Port::inTheSettings);
    for (const Event& event : allEvents()) {
        SCOPED_TRACE(event.agent + "/" + event.file);
        const bool isStop = event.name() == "Stop";
        if (!isStop && event.name() != "PermissionRequest") {
            const auto hook = daemon.runHook(event.agent, event.bytes);
            EXPECT_EQ(hook->exitCode(), 0);
            EXPECT_EQ(hook->output(), "");
            continue;
        }
        for (const Answer& answer : isStop ? stopAnswers(event) : permissionAnswers(event)) {
            const auto hook = daemon.runHook(event.agent, event.bytes);
            const JSONArray pending = daemon.pending(1);
            ASSERT_EQ(pending.size(), 1U);
            JSONObject item = *pending[0].object();
            EXPECT_EQ(*pending[0]["expiresAt"]->number() - *pending[0]["createdAt"]->number(),
                      isStop ? 300'000 : 600'000);
            for (const auto* own : {"id", "createdAt", "expiresAt"})
                item.erase(own);
            EXPECT_EQ(item, expectedItem(event));

            EXPECT_EQ(daemon.answer(pending[0], answer.given).body, R"({"ok":true})");
            EXPECT_EQ(hook->exitCode(), 0);
            const std::string reply = hook->output();
            if (answer.expected.isNull())
                EXPECT_EQ(reply, "");
            else
                EXPECT_EQ(JSONValue::parse(reply), answer.expected) << reply;
        }
    }
    // The expectation above is built; this one is a whole document that the agent is known to take.
    const std::string push = contentOf(fixtures("claude") / "in/permission_request_bash.json");
    const auto hook = daemon.runHook("claude", push);
    const JSONArray pending = daemon.pending(1);
    ASSERT_EQ(pending.size(), 1U);
    (void)daemon.answer(pending[0], {{"action", "always"}});
    EXPECT_EQ(hook->exitCode(), 0);
    EXPECT_EQ(JSONValue::parse(hook->output()), output("claude", "permission_allow_always.json"));
}
