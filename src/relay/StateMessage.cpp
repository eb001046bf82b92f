#include "relay/StateMessage.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/JSONMember.h"
#include "core/Text.h"

namespace {

// How much of a text a preview keeps, in characters, and how much it may be in all, in bytes.
constexpr std::size_t previewedText = 2'000;
constexpr std::size_t longestPreview = 64 << 10;

// The message while it is being made shorter.
class Draft {
  public:
    Draft(JSONValue snapshot, std::size_t limit) : m_limit(limit) {
        m_message.set("state", std::move(snapshot));
        encode();
    }

    // Nothing, too, when it cannot be encoded at all: then nothing can be done about it.
    [[nodiscard]] bool isDone() const { return !m_encoded || m_encoded->size() <= m_limit; }
    [[nodiscard]] std::size_t excess() const { return isDone() ? 0 : m_encoded->size() - m_limit; }
    [[nodiscard]] std::optional<EncodedMessage> result() && { return std::move(m_encoded); }

    [[nodiscard]] JSONArray* list(std::string_view key) {
        JSONObject* state = m_message.find("state")->object();
        JSONValue* member = state ? state->find(key) : nullptr;
        return member ? member->array() : nullptr;
    }
    void encode() {
        try {
            m_encoded.emplace(m_message);
        } catch (const std::invalid_argument&) {
            m_encoded.reset();
        }
    }

  private:
    JSONObject m_message{{"type", "state"}};
    std::optional<EncodedMessage> m_encoded;
    std::size_t m_limit;
};

void dropEndedSessions(Draft& draft) {
    if (JSONArray* sessions = draft.list("sessions"))
        std::erase_if(*sessions,
                      [](const JSONValue& session) { return json::isTrue(session, "ended"); });
}

void dropLastMessages(Draft& draft) {
    if (JSONArray* sessions = draft.list("sessions"))
        for (JSONValue& session : *sessions)
            if (JSONObject* members = session.object())
                members->erase("lastMessage");
}

std::string shortened(std::string_view text) {
    return std::string(text::prefix(text, previewedText, longestPreview));
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

struct Member {
    JSONObject* item;
    std::string key;
    std::size_t size;
};

// Of all waiting items, the largest first.
std::vector<Member> membersOfItems(Draft& draft) {
    std::vector<Member> found;
    JSONArray* pending = draft.list("pending");
    if (!pending)
        return found;
    for (JSONValue& value : *pending)
        if (JSONObject* item = value.object())
            for (const auto& [key, member] : *item)
                found.push_back({item, key, json::compact(member).value_or("").size()});
    std::ranges::stable_sort(found, std::ranges::greater{}, &Member::size);
    return found;
}

void shortenItems(Draft& draft) {
    std::size_t saved = 0;
    for (const auto& [item, key, size] : membersOfItems(draft)) {
        if (saved > draft.excess()) {
            draft.encode();
            if (draft.isDone())
                return;
            saved = 0;
        }
        JSONValue shorter = preview(*item->find(key));
        const std::size_t left = json::compact(shorter).value_or("").size();
        if (left >= size)
            continue;
        item->set(key, std::move(shorter));
        item->set("truncated", true);
        saved += size - left;
    }
}

// Questions matter most.
void dropRecent(Draft& draft) {
    if (JSONArray* recent = draft.list("recent"))
        recent->clear();
}

void dropSessions(Draft& draft) {
    if (JSONArray* sessions = draft.list("sessions"))
        sessions->clear();
}

} // namespace

std::optional<EncodedMessage> stateMessage(JSONValue snapshot, std::size_t limit) {
    Draft draft(std::move(snapshot), limit);
    for (const auto& reduce :
         {dropEndedSessions, dropLastMessages, shortenItems, dropRecent, dropSessions}) {
        if (draft.isDone())
            break;
        reduce(draft);
        draft.encode();
    }
    return draft.isDone() ? std::move(draft).result() : std::nullopt;
}
