#include "relay/StateMessage.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "core/JSONMember.h"
#include "core/Text.h"

namespace {

// How much of a text a preview keeps, in characters, and how much it may be in all, in bytes.
constexpr std::size_t previewedText = 2'000;
constexpr std::size_t longestPreview = 64 << 10;

std::optional<EncodedMessage> encoded(const JSONValue& snapshot) {
    try {
        return EncodedMessage(JSONObject{{"type", "state"}, {"state", snapshot}});
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

bool fits(const std::optional<EncodedMessage>& message, std::size_t limit) {
    return !message || message->size() <= limit;
}

JSONArray* arrayIn(JSONValue& snapshot, std::string_view key) {
    JSONObject* object = snapshot.object();
    JSONValue* member = object ? object->find(key) : nullptr;
    return member ? member->array() : nullptr;
}

void dropEndedSessions(JSONValue& snapshot) {
    if (JSONArray* sessions = arrayIn(snapshot, "sessions"))
        std::erase_if(*sessions,
                      [](const JSONValue& session) { return json::isTrue(session, "ended"); });
}

void dropLastMessages(JSONValue& snapshot) {
    if (JSONArray* sessions = arrayIn(snapshot, "sessions"))
        for (JSONValue& session : *sessions)
            if (JSONObject* members = session.object())
                members->erase("lastMessage");
}

// Cut without a search for the end of a character that has megabytes.
std::string shortened(std::string_view text) {
    const std::string_view beginning = text::prefix(text, previewedText);
    return beginning.size() <= longestPreview ? std::string(beginning)
                                              : text::repaired(beginning.substr(0, longestPreview));
}

// The same value with its long texts cut; when it is large for another reason, the beginning of its
// JSON.
JSONValue preview(const JSONValue& value) {
    if (const std::string* text = value.string())
        return shortened(*text);
    JSONValue result = value;
    if (JSONObject* object = result.object()) {
        std::vector<JSONObject::Member> members;
        for (const auto& [key, member] : *object)
            members.emplace_back(key,
                                 member.string() ? JSONValue(shortened(*member.string())) : member);
        *object = JSONObject::fromMembers(std::move(members));
    }
    const std::string text = json::compact(result).value_or("");
    return text.size() <= longestPreview ? result : JSONValue(shortened(text));
}

// What of an item an agent can make as long as it likes.
constexpr std::array<std::string_view, 3> longMembers{"input", "suggestions", "lastMessage"};

struct Long {
    JSONObject* item;
    std::string_view member;
    std::size_t size;
};

// Largest first.
std::vector<Long> longMembersOf(JSONValue& snapshot) {
    std::vector<Long> found;
    JSONArray* pending = arrayIn(snapshot, "pending");
    if (!pending)
        return found;
    for (JSONValue& value : *pending) {
        JSONObject* item = value.object();
        for (const std::string_view member : longMembers)
            if (const JSONValue* content = item ? item->find(member) : nullptr)
                found.push_back({item, member, json::compact(*content).value_or("").size()});
    }
    std::ranges::stable_sort(found, std::ranges::greater{}, &Long::size);
    return found;
}

} // namespace

std::optional<EncodedMessage> stateMessage(JSONValue snapshot, std::size_t limit) {
    auto message = encoded(snapshot);
    if (fits(message, limit))
        return message;
    for (const auto& reduce : {dropEndedSessions, dropLastMessages}) {
        reduce(snapshot);
        message = encoded(snapshot);
        if (fits(message, limit))
            return message;
    }
    std::size_t size = message->size();
    for (const Long& longest : longMembersOf(snapshot)) {
        JSONValue shorter = preview(*longest.item->find(longest.member));
        const std::size_t left = json::compact(shorter).value_or("").size();
        if (left >= longest.size)
            break;
        longest.item->set(longest.member, std::move(shorter));
        longest.item->set("truncated", true);
        size -= longest.size - left;
        if (size > limit)
            continue;
        message = encoded(snapshot);
        if (fits(message, limit))
            return message;
    }
    return std::nullopt;
}
