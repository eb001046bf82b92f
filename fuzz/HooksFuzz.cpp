#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "Require.h"
#include "hooks/Hooks.h"

namespace {

constexpr std::string_view command = "\"/home/user/.tamsell/tamsell-hook\"";

// The groups of an event; nothing when there is no array.
JSONArray groupsOf(const JSONObject& file, std::string_view event) {
    const JSONValue* hooks = file.find("hooks");
    const JSONValue* groups = hooks ? (*hooks)[event] : nullptr;
    return groups && groups->array() ? *groups->array() : JSONArray();
}

std::string withoutHooks(JSONObject file) {
    file.erase("hooks");
    return json::pretty(file);
}

// Whether nothing of ours is left.
bool isFreeOfOurs(const JSONObject& file) {
    const JSONValue* hooks = file.find("hooks");
    if (!hooks || !hooks->object())
        return true;
    for (const auto& [event, groups] : *hooks->object()) {
        if (!Hooks::ourCommands(file, event).empty())
            return false;
    }
    return !Hooks::hasLegacy(file);
}

// Whether `part` lies in `whole` in its order, and what is left out is ours.
bool isWithoutOurs(const JSONArray& part, const JSONArray& whole) {
    std::size_t at = 0;
    for (const JSONValue& group : whole) {
        if (at < part.size() && json::compact(part[at]) == json::compact(group))
            ++at;
        else if (isFreeOfOurs({{"hooks", JSONObject{{"", JSONArray{group}}}}}))
            return false;
    }
    return at == part.size();
}

} // namespace

// Whatever an agent's settings are, ours are all in after installing and all out after removing,
// and what is the user's stays, to the digit and in its order.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto value = JSONValue::parse({reinterpret_cast<const char*>(data), size});
    if (!value || !value->object())
        return 0;
    const JSONObject& file = *value->object();

    const JSONObject without = Hooks::withoutOurGroups(file);
    require(isFreeOfOurs(without));
    require(!without.find("hooks") || *without.find("hooks") != JSONObject());
    require(withoutHooks(without) == withoutHooks(file));
    require(json::pretty(Hooks::withoutOurGroups(without)) == json::pretty(without));
    if (const JSONValue* hooks = file.find("hooks"); hooks && hooks->object()) {
        for (const auto& [event, groups] : *hooks->object()) {
            if (groups.array()) {
                require(isWithoutOurs(groupsOf(without, event), *groups.array()));
            } else {
                const JSONValue* kept = without.find("hooks");
                require(kept && (*kept)[event] && *(*kept)[event] == groups);
            }
        }
    }

    for (const auto events : {Hooks::claudeEvents(), Hooks::codexEvents()}) {
        const JSONObject with = Hooks::withOurGroups(file, command, events);
        const std::string text = json::pretty(with);
        require(JSONValue::parse(text) == JSONValue(with));
        require(Hooks::countInstalled(with, command, events) == static_cast<int>(events.size()));
        require(!Hooks::hasLegacy(with));
        require(withoutHooks(with) == withoutHooks(file));
        for (const Hooks::Event& event : events) {
            const auto before = Hooks::ourCommands(file, event.name);
            require(Hooks::countInstalled(file, command, {&event, 1}) <=
                    std::ranges::count(before, command));
            require(Hooks::ourCommands(with, event.name) == std::vector{std::string(command)});
            JSONArray groups = groupsOf(with, event.name);
            groups.pop_back();
            require(json::compact(groups) == json::compact(groupsOf(without, event.name)));
        }
        require(json::pretty(Hooks::withOurGroups(with, command, events)) == text);
        require(isFreeOfOurs(Hooks::withoutOurGroups(with)));
    }
    return 0;
}
