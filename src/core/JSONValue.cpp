#include "core/JSONValue.h"

#include <algorithm>
#include <numeric>

#include "core/Text.h"

namespace {

bool allKeysAreASCII(const std::vector<JSONObject::Member>& members) {
    return std::ranges::all_of(members,
                               [](const auto& member) { return text::isASCII(member.first); });
}

// Less, equal or greater in the order of decomposed keys.
int compareKeys(std::string_view left, std::string_view right) {
    if (text::isASCII(left) && text::isASCII(right))
        return left.compare(right);
    return text::decomposed(left).compare(text::decomposed(right));
}

} // namespace

JSONObject::JSONObject(std::initializer_list<Member> members)
    : JSONObject(fromMembers(std::vector<Member>(members))) {}

JSONObject JSONObject::fromMembers(std::vector<Member> members) {
    JSONObject result;
    if (allKeysAreASCII(members)) {
        const auto byKey = [](const Member& left, const Member& right) {
            return left.first < right.first;
        };
        if (!std::ranges::is_sorted(members, byKey))
            std::ranges::stable_sort(members, byKey);
        // Of a run of equal keys the last stays.
        std::size_t kept = 0;
        for (std::size_t i = 0; i < members.size(); ++i) {
            if (i + 1 < members.size() && members[i].first == members[i + 1].first)
                continue;
            if (kept != i)
                members[kept] = std::move(members[i]);
            ++kept;
        }
        members.erase(members.begin() + static_cast<std::ptrdiff_t>(kept), members.end());
        result.m_members = std::move(members);
        return result;
    }
    // Every key is decomposed once, however many comparisons the order takes.
    std::vector<std::string> keys;
    keys.reserve(members.size());
    for (const Member& member : members)
        keys.push_back(text::decomposed(member.first));
    std::vector<std::size_t> order(members.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(
        order, [&](std::size_t left, std::size_t right) { return keys[left] < keys[right]; });
    result.m_members.reserve(members.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (i + 1 < order.size() && keys[order[i]] == keys[order[i + 1]])
            continue;
        result.m_members.push_back(std::move(members[order[i]]));
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
