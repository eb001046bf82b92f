#include "core/JSONValue.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/Text.h"

namespace {

bool isASCIIAt(std::string_view key, std::size_t index) {
    return static_cast<unsigned char>(key[index]) < 0x80;
}

// As much of a key as can matter in a comparison with an ASCII text: every character decomposes to
// at least one byte, and the first byte that is not ASCII decides. It keeps a lookup in an object
// with huge keys cheap.
std::string_view decisivePart(std::string_view key, std::string_view other) {
    std::size_t end = 4 * (other.size() + 1);
    if (key.size() <= end || !text::isASCII(other))
        return key;
    while (end > 0 && (static_cast<unsigned char>(key[end]) & 0xC0) == 0x80)
        --end;
    return key.substr(0, end);
}

// Less, equal or greater in the order of decomposed keys.
int compareKeys(std::string_view left, std::string_view right) {
    const std::size_t common = std::min(left.size(), right.size());
    std::size_t at = 0;
    while (at < common && left[at] == right[at])
        ++at;
    // An ASCII character is its own decomposition, and nothing is reordered across it; so where
    // both go on with one, or end, the bytes decide.
    if ((at == left.size() || isASCIIAt(left, at)) && (at == right.size() || isASCIIAt(right, at)))
        return left.substr(at).compare(right.substr(at));
    while (at > 0 && !isASCIIAt(left, at - 1))
        --at;
    left.remove_prefix(at);
    right.remove_prefix(at);
    return text::decomposed(decisivePart(left, right))
        .compare(text::decomposed(decisivePart(right, left)));
}

// A member's place in the order.
struct Slot {
    std::string_view key;
    std::size_t index;
};

bool precedes(const Slot& left, const Slot& right) {
    const int order = left.key.compare(right.key);
    return order != 0 ? order < 0 : left.index < right.index;
}

} // namespace

JSONObject::JSONObject(std::initializer_list<Member> members)
    : JSONObject(fromMembers(std::vector<Member>(members))) {}

JSONObject JSONObject::fromMembers(std::vector<Member> members) {
    return takeMembers(members);
}

JSONObject JSONObject::takeMembers(std::span<Member> members) {
    // Every key that needs it is decomposed once, however many comparisons the order takes.
    std::vector<std::string> decomposed;
    if (!std::ranges::all_of(members, [](const Member& m) { return text::isASCII(m.first); })) {
        decomposed.reserve(members.size());
        for (const Member& member : members)
            decomposed.push_back(text::decomposed(member.first));
    }
    std::array<Slot, 24> few;
    std::vector<Slot> many(members.size() > few.size() ? members.size() : 0);
    const std::span<Slot> slots = many.empty() ? std::span(few).first(members.size()) : many;
    for (std::size_t i = 0; i < members.size(); ++i)
        slots[i] = {decomposed.empty() ? members[i].first : decomposed[i], i};
    std::ranges::sort(slots, precedes);

    JSONObject result;
    result.m_members.reserve(members.size());
    for (std::size_t i = 0; i < slots.size(); ++i) {
        // Of a run of equal keys the last stays.
        if (i + 1 == slots.size() || slots[i].key != slots[i + 1].key)
            result.m_members.push_back(std::move(members[slots[i].index]));
    }
    return result;
}

std::size_t JSONObject::lowerBound(std::string_view key) const {
    const auto found = std::ranges::partition_point(
        m_members, [&](const Member& member) { return compareKeys(member.first, key) < 0; });
    return static_cast<std::size_t>(found - m_members.begin());
}

bool JSONObject::holdsAt(std::size_t index, std::string_view key) const {
    return index < m_members.size() && compareKeys(m_members[index].first, key) == 0;
}

const JSONValue* JSONObject::find(std::string_view key) const {
    const std::size_t index = lowerBound(key);
    return holdsAt(index, key) ? &m_members[index].second : nullptr;
}

JSONValue* JSONObject::find(std::string_view key) {
    const std::size_t index = lowerBound(key);
    return holdsAt(index, key) ? &m_members[index].second : nullptr;
}

const std::string* JSONObject::string(std::string_view key) const {
    const JSONValue* value = find(key);
    return value ? value->string() : nullptr;
}

std::optional<std::string> JSONObject::optionalString(std::string_view key) const {
    const std::string* text = string(key);
    return text ? std::optional(*text) : std::nullopt;
}

void JSONObject::set(std::string_view key, JSONValue value) {
    const std::size_t index = lowerBound(key);
    if (holdsAt(index, key))
        m_members[index].second = std::move(value);
    else
        m_members.emplace(m_members.begin() + static_cast<std::ptrdiff_t>(index), std::string(key),
                          std::move(value));
}

bool JSONObject::erase(std::string_view key) {
    const std::size_t index = lowerBound(key);
    if (!holdsAt(index, key))
        return false;
    m_members.erase(m_members.begin() + static_cast<std::ptrdiff_t>(index));
    return true;
}

bool JSONObject::operator==(const JSONObject& other) const {
    // Both are in one order, so equal objects agree position by position.
    return std::ranges::equal(
        m_members, other.m_members, [](const Member& left, const Member& right) {
            return text::canonicallyEqual(left.first, right.first) && left.second == right.second;
        });
}

std::optional<double> JSONValue::number() const {
    const auto* number = std::get_if<JSONNumber>(&m_value);
    return number ? std::optional(number->value()) : std::nullopt;
}

std::optional<bool> JSONValue::boolean() const {
    const auto* truth = std::get_if<bool>(&m_value);
    return truth ? std::optional(*truth) : std::nullopt;
}

const JSONValue* JSONValue::operator[](std::string_view key) const {
    const JSONObject* members = object();
    return members ? members->find(key) : nullptr;
}

bool JSONValue::operator==(const JSONValue& other) const {
    if (const std::string* mine = string()) {
        const std::string* theirs = other.string();
        return theirs && text::canonicallyEqual(*mine, *theirs);
    }
    return m_value == other.m_value;
}
