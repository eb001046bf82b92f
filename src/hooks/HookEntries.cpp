// What our entries are in an agent's settings, which are
// {"hooks": {EVENT: [{"matcher": …, "hooks": [{"type", "command", "timeout"}, …]}, …]}, …}.

#include <algorithm>
#include <array>
#include <iterator>

#include "core/JSONMember.h"
#include "hooks/Hooks.h"

namespace {

constexpr std::array claudeTable{
    Hooks::Event{"PermissionRequest", 600}, Hooks::Event{"Stop", 600},
    Hooks::Event{"PreToolUse", 10},         Hooks::Event{"Notification", 10},
    Hooks::Event{"SessionStart", 10},       Hooks::Event{"SessionEnd", 10},
    Hooks::Event{"UserPromptSubmit", 10},
};

// Codex has no notifications, and waits less for hooks when it ends.
constexpr std::array codexTable{
    Hooks::Event{"PermissionRequest", 600}, Hooks::Event{"Stop", 600},
    Hooks::Event{"PreToolUse", 10},         Hooks::Event{"SessionStart", 10},
    Hooks::Event{"SessionEnd", 3},          Hooks::Event{"UserPromptSubmit", 10},
};

constexpr std::string_view ourName = "tamsell-hook";
constexpr std::string_view olderName = "zel-hook";

// The member when it is an array, else an empty one.
const JSONArray& arrayIn(const JSONObject& object, std::string_view key) {
    static const JSONArray none;
    const JSONValue* member = object.find(key);
    const JSONArray* array = member ? member->array() : nullptr;
    return array ? *array : none;
}

// What a group runs: its entries.
const JSONArray& entriesOf(const JSONValue& group) {
    return json::arrayOf(group, "hooks");
}

// The command of one entry of a group; empty when it has none.
std::string_view commandOf(const JSONValue& entry) {
    const std::string* text = json::textOf(entry, "command");
    return text ? std::string_view(*text) : std::string_view();
}

bool isOurs(std::string_view command) {
    return command.find(ourName) != std::string_view::npos ||
           command.find(olderName) != std::string_view::npos;
}

bool isOurGroup(const JSONValue& group) {
    return std::ranges::any_of(entriesOf(group),
                               [](const JSONValue& entry) { return isOurs(commandOf(entry)); });
}

bool isCurrent(const JSONValue& entry, std::string_view command, int timeout) {
    const JSONValue* seconds = entry["timeout"];
    return commandOf(entry) == command && seconds && seconds->number() == timeout;
}

const JSONObject* hooksIn(const JSONObject& file) {
    const JSONValue* hooks = file.find("hooks");
    return hooks ? hooks->object() : nullptr;
}

template <typename Is>
bool hasGroup(const JSONObject& file, Is is) {
    const JSONObject* hooks = hooksIn(file);
    return hooks && std::ranges::any_of(*hooks, [&](const JSONObject::Member& member) {
               const JSONArray* groups = member.second.array();
               return groups && std::ranges::any_of(*groups, is);
           });
}

} // namespace

std::span<const Hooks::Event> Hooks::claudeEvents() {
    return claudeTable;
}

std::span<const Hooks::Event> Hooks::codexEvents() {
    return codexTable;
}

int Hooks::countInstalled(const JSONObject& file, std::string_view command,
                          std::span<const Event> events) {
    const JSONObject* hooks = hooksIn(file);
    if (!hooks)
        return 0;
    const auto isInstalled = [&](const Event& event) {
        return std::ranges::any_of(arrayIn(*hooks, event.name), [&](const JSONValue& group) {
            return isOurGroup(group) &&
                   std::ranges::any_of(entriesOf(group), [&](const JSONValue& entry) {
                       return isCurrent(entry, command, event.timeout);
                   });
        });
    };
    return static_cast<int>(std::ranges::count_if(events, isInstalled));
}

JSONObject Hooks::withoutOurGroups(JSONObject file) {
    const JSONObject* hooks = hooksIn(file);
    if (!hooks)
        return file;
    std::vector<JSONObject::Member> kept;
    for (const auto& [event, groups] : *hooks) {
        if (!groups.array()) {
            kept.emplace_back(event, groups);
            continue;
        }
        JSONArray others;
        std::ranges::remove_copy_if(*groups.array(), std::back_inserter(others), isOurGroup);
        if (!others.empty())
            kept.emplace_back(event, std::move(others));
    }
    if (kept.empty())
        file.erase("hooks");
    else
        file.set("hooks", JSONObject::fromMembers(std::move(kept)));
    return file;
}

JSONObject Hooks::withOurGroups(JSONObject file, std::string_view command,
                                std::span<const Event> events) {
    JSONObject result = withoutOurGroups(std::move(file));
    const JSONObject* found = hooksIn(result);
    JSONObject hooks = found ? *found : JSONObject();
    for (const Event& event : events) {
        JSONArray all = arrayIn(hooks, event.name);
        all.push_back(JSONObject{{"matcher", ""},
                                 {"hooks", JSONArray{JSONObject{{"type", "command"},
                                                                {"command", command},
                                                                {"timeout", event.timeout}}}}});
        hooks.set(event.name, std::move(all));
    }
    result.set("hooks", std::move(hooks));
    return result;
}

std::vector<std::string> Hooks::ourCommands(const JSONObject& file, std::string_view event) {
    std::vector<std::string> commands;
    const JSONObject* hooks = hooksIn(file);
    if (!hooks)
        return commands;
    for (const JSONValue& group : arrayIn(*hooks, event)) {
        for (const JSONValue& entry : entriesOf(group)) {
            if (commandOf(entry).find(ourName) != std::string_view::npos)
                commands.emplace_back(commandOf(entry));
        }
    }
    return commands;
}

bool Hooks::hasSharedGroup(const JSONObject& file) {
    return hasGroup(file, [](const JSONValue& group) {
        return isOurGroup(group) &&
               std::ranges::any_of(entriesOf(group), [](const JSONValue& entry) {
                   return !isOurs(commandOf(entry));
               });
    });
}

bool Hooks::hasLegacy(const JSONObject& file) {
    return hasGroup(file, [](const JSONValue& group) {
        return std::ranges::any_of(entriesOf(group), [](const JSONValue& entry) {
            return commandOf(entry).find(olderName) != std::string_view::npos;
        });
    });
}
