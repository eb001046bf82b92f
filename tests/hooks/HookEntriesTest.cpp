#include <array>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hooks/Hooks.h"
#include "support/TemporaryDirectory.h"

using testing::ElementsAre;

namespace {

constexpr const char* command = "\"/home/user/.tamsell/tamsell-hook\"";
constexpr std::array twoEvents{Hooks::Event{"Stop", 600}, Hooks::Event{"SessionEnd", 3}};

// Nothing in here is ours by its place, whatever it says.
const std::string odd =
    R"({"Note":"zel-hook","Off":null,"Stop":[null,7,"tamsell-hook",{},["zel-hook"],)"
    R"({"command":"tamsell-hook"},{"hooks":{"command":"tamsell-hook"}},{"hooks":[1,"zel-hook"]},)"
    R"({"hooks":[{"command":["tamsell-hook"]},{"args":["zel-hook"]}]}],)"
    R"("Unlisted":{"hooks":[{"command":"zel-hook"}]}})";

JSONObject parsed(std::string_view text) {
    const auto value = JSONValue::parse(text);
    if (!value || !value->object())
        throw std::runtime_error("no JSON object: " + std::string(text));
    return *value->object();
}

JSONObject withHooks(const std::string& hooks) {
    return parsed(R"({"model": "opus", "hooks": )" + hooks + "}");
}

// What lies under "hooks", on one line without white space.
std::string hooksOf(const JSONObject& file) {
    const JSONValue* hooks = file.find("hooks");
    return hooks ? json::compact(*hooks).value() : "none";
}

// Our group for one event.
std::string ours(int timeout) {
    return R"({"hooks":[{"command":)" + json::compact(command).value() + R"(,"timeout":)" +
           std::to_string(timeout) + R"(,"type":"command"}],"matcher":""})";
}

TEST(HookEntries, OnlyOurGroupsAreTakenOut) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {odd, odd},
        {R"([{"hooks":[{"command":"zel-hook"}]}])", R"([{"hooks":[{"command":"zel-hook"}]}])"},
        // Ours: of any event, any path, the older program's too, and whole if the user shares it.
        {R"({"Stop":[2,{"hooks":[{"command":"user"},{"command":"/x/tamsell-hook -a"}]},1]})",
         R"({"Stop":[2,1]})"},
        {R"({"Mine":[{"hooks":[{"command":"~/.zel/zel-hook"}]}],"Stop":["kept"]})",
         R"({"Stop":["kept"]})"},
        {R"({"Mine":[{"hooks":[1,{},{"command":"tamsell-hook"}]}],"Stop":[]})", "none"},
        {"{}", "none"},
    };
    for (const auto& [before, after] : cases) {
        const JSONObject without = Hooks::withoutOurGroups(withHooks(before));
        EXPECT_EQ(hooksOf(without), after) << before;
        EXPECT_EQ(*without.string("model"), "opus");
    }
    EXPECT_EQ(Hooks::withoutOurGroups({}), JSONObject());
}

TEST(HookEntries, OursComeLastAndOncePerEvent) {
    const std::string both = R"({"SessionEnd":[)" + ours(3) + R"(],"Stop":[)" + ours(600) + "]}";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"{}", both},
        {R"("off")", both},
        {R"({"Stop":"off","SessionEnd":{"a":1}})", both},
        {both, both},
        {R"({"Stop":[)" + ours(300) + "," + ours(600) + "," + ours(600) + "]}", both},
        {R"({"Stop":[)" + ours(600) + R"(,{"b":2},{"a":1}],"Old":[)" + ours(10) + R"(],"On":7})",
         R"({"On":7,"SessionEnd":[)" + ours(3) + R"(],"Stop":[{"b":2},{"a":1},)" + ours(600) +
             "]}"},
    };
    for (const auto& [before, after] : cases) {
        const JSONObject file = Hooks::withOurGroups(withHooks(before), command, twoEvents);
        EXPECT_EQ(hooksOf(file), after) << before;
        EXPECT_EQ(*file.string("model"), "opus");
    }
    EXPECT_EQ(hooksOf(Hooks::withOurGroups({}, command, {})), "{}");
}

TEST(HookEntries, AnEntryCountsWithTheVeryCommandAndTimeout) {
    const std::string quoted = R"("command":)" + json::compact(command).value();
    const std::vector<std::pair<std::string, int>> cases{
        {"[" + ours(600) + "]", 1},
        {R"([{"hooks":[{"timeout":6e2,)" + quoted + "}]}]", 1},
        {R"([7,{"hooks":[{"command":"user"},{"timeout":600,)" + quoted + "}]}]", 1},
        {"[" + ours(300) + "," + ours(600) + "," + ours(600) + "]", 1},
        {"[" + ours(300) + "]", 0},
        {R"([{"hooks":[{"timeout":"600",)" + quoted + "}]}]", 0},
        {R"([{"hooks":[{)" + quoted + "}]}]", 0},
        {R"([{"hooks":[{"timeout":600,"command":"/other/tamsell-hook"}]}])", 0},
        {R"([{"hooks":[{"timeout":600.5,)" + quoted + R"(},{"timeout":600}]}])", 0},
        {ours(600), 0},
        {"[[" + ours(600) + "]]", 0},
    };
    for (const auto& [stop, count] : cases) {
        // With another event's timeout it never counts.
        const JSONObject file =
            withHooks(R"({"Stop":)" + stop + R"(,"SessionEnd":[)" + ours(600) + "]}");
        EXPECT_EQ(Hooks::countInstalled(file, command, twoEvents), count) << stop;
    }
    const JSONObject users = withHooks(R"({"Stop":[{"hooks":[{"timeout":600,"command":"x"}]}]})");
    EXPECT_EQ(Hooks::countInstalled(users, "x", twoEvents), 0) << "not ours by its name";
}

TEST(HookEntries, TellsOurCommandsAndTheOlderOnes) {
    const JSONObject file = withHooks(R"({
        "Stop": [{"hooks": [{"command": "/b/tamsell-hook"}, {"command": "user"}]}, 1,
                 {"hooks": [{"command": "zel-hook"}, {"command": "/a/tamsell-hook"}]}]})");
    EXPECT_THAT(Hooks::ourCommands(file, "Stop"),
                ElementsAre("/b/tamsell-hook", "/a/tamsell-hook"));
    EXPECT_TRUE(Hooks::hasLegacy(file));
    EXPECT_FALSE(Hooks::hasLegacy(withHooks(R"({"Stop":[)" + ours(600) + "]}")));
    for (const std::string& hooks : {odd, std::string("[]"), std::string("null")}) {
        EXPECT_FALSE(Hooks::hasLegacy(withHooks(hooks))) << hooks;
        EXPECT_THAT(Hooks::ourCommands(withHooks(hooks), "Stop"), ElementsAre());
    }
}

// Agents' settings with hooks of the user's come back as they were, and are complete between.
TEST(HookEntries, TheUsersSettingsStayAroundOurs) {
    for (const auto& [name, events] :
         {std::pair("/claude/config/settings_existing_user_hooks.json", Hooks::claudeEvents()),
          std::pair("/codex/config/hooks.json", Hooks::codexEvents())}) {
        const JSONObject users = parsed(contentOf(std::string(TAMSELL_FIXTURES) + name));
        const JSONObject file = Hooks::withOurGroups(users, command, events);
        EXPECT_EQ(Hooks::countInstalled(file, command, events), static_cast<int>(events.size()));
        EXPECT_EQ((*(*file.find("hooks"))["Stop"]->array())[0],
                  (*(*users.find("hooks"))["Stop"]->array())[0]);
        EXPECT_EQ(json::pretty(Hooks::withoutOurGroups(file)), json::pretty(users));
    }
}

} // namespace
