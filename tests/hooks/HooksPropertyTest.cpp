#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "hooks/Hooks.h"

namespace {

constexpr const char* command = "\"/home/user/.tamsell/tamsell-hook\"";

// Settings as somebody may have them, with and without groups that are ours.
class Settings {
  public:
    explicit Settings(unsigned seed) : m_random(seed) {
        for (int i = upTo(3); i > 0; --i)
            users.set(pick({"model", "a/b", "é", "permissions", ""}), any(3));
        const int kind = upTo(9);
        if (kind == 0)
            users.set("hooks", any(2));
        mixed = users;
        if (kind > 1)
            makeEvents();
    }

    JSONObject users; // only what is the user's
    JSONObject mixed; // the same with groups of ours in between

  private:
    int upTo(int most) { return std::uniform_int_distribution(0, most)(m_random); }
    const char* pick(const std::vector<const char*>& choices) {
        return choices[static_cast<std::size_t>(upTo(static_cast<int>(choices.size()) - 1))];
    }

    // Never a group of ours, for it has no member "hooks".
    JSONValue any(int depth) {
        const int kind = upTo(depth > 0 ? 5 : 3);
        if (kind == 0)
            return upTo(1) > 0 ? JSONValue() : JSONValue(false);
        if (kind == 1)
            return *JSONValue::parse(pick({"12345678901234567890", "0.1", "-1e-300", "600"}));
        if (kind < 4)
            return pick({"", "tamsell-hook", "使用者 \"q\"\n", "a/b", "zel-hook"});
        JSONObject object;
        JSONArray array;
        for (int i = upTo(3); i > 0; --i) {
            object.set(pick({"command", "x", "Stop"}), any(depth - 1));
            array.push_back(any(depth - 1));
        }
        return kind == 4 ? JSONValue(object) : JSONValue(array);
    }

    JSONValue group(const JSONValue& lastCommand) {
        JSONArray entries;
        for (int i = upTo(2); i > 0; --i)
            entries.push_back(JSONObject{{"command", "user"}, {"timeout", any(0)}});
        entries.push_back(JSONObject{{"command", lastCommand}, {"timeout", 600}});
        return JSONObject{{"matcher", pick({"", "*"})}, {"hooks", std::move(entries)}};
    }
    JSONValue usersGroup() {
        const int kind = upTo(4);
        if (kind == 0)
            return any(2);
        if (kind == 1)
            return JSONObject{{"hooks", pick({"tamsell-hook", "zel-hook"})}};
        return group(kind == 2 ? JSONValue(JSONArray{"zel-hook"}) : JSONValue("paplay"));
    }

    void makeEvents() {
        JSONObject usersEvents;
        JSONObject mixedEvents;
        for (const char* event : {"Stop", "SessionEnd", "PreToolUse", "Mine"}) {
            if (upTo(2) == 0)
                continue;
            JSONArray some;
            JSONArray all;
            for (int i = upTo(4); i > 0; --i) {
                if (upTo(2) == 0) {
                    all.push_back(group(pick({command, "/old/tamsell-hook -a", "~/zel-hook"})));
                } else {
                    some.push_back(usersGroup());
                    all.push_back(some.back());
                }
            }
            const JSONValue odd = upTo(9) == 0 ? any(0) : JSONValue();
            usersEvents.set(event, odd.isNull() ? JSONValue(some) : odd);
            mixedEvents.set(event, odd.isNull() ? JSONValue(all) : odd);
        }
        users.set("hooks", usersEvents);
        mixed.set("hooks", mixedEvents);
    }

    std::mt19937 m_random;
};

// What stays of the user's: nothing empty, and nothing odd in the place of these events' groups.
std::string leftOf(JSONObject file, std::span<const Hooks::Event> installed) {
    const JSONValue hooks = file.find("hooks") ? *file.find("hooks") : JSONValue();
    JSONObject left;
    for (const auto& [event, groups] : hooks.object() ? *hooks.object() : JSONObject()) {
        if (!groups.array() &&
            std::ranges::find(installed, event, &Hooks::Event::name) != installed.end())
            continue;
        if (groups != JSONArray())
            left.set(event, groups);
    }
    if (!left.empty())
        file.set("hooks", left);
    else if (hooks.object() || !installed.empty())
        file.erase("hooks");
    return json::pretty(file);
}

} // namespace

TEST(HooksProperty, InstallingAndRemovingGivesTheUsersBack) {
    const auto install = [](const JSONObject& file) {
        return Hooks::withOurGroups(file, command, Hooks::claudeEvents());
    };
    for (unsigned seed = 1; seed <= 500; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Settings settings(seed);
        EXPECT_EQ(json::pretty(Hooks::withoutOurGroups(settings.mixed)),
                  leftOf(settings.users, {}));
        const JSONObject installed = install(settings.mixed);
        EXPECT_EQ(json::pretty(Hooks::withoutOurGroups(installed)),
                  leftOf(settings.users, Hooks::claudeEvents()));
        EXPECT_EQ(json::pretty(installed), json::pretty(install(settings.users)));
        EXPECT_EQ(json::pretty(install(installed)), json::pretty(installed));
        EXPECT_EQ(Hooks::countInstalled(installed, command, Hooks::claudeEvents()), 7);
        if (HasFailure())
            break;
    }
}
