#pragma once

#include <cstddef>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

class JSONValue;

using JSONArray = std::vector<JSONValue>;

/// The members of a JSON object: an unordered dictionary from text to `JSONValue`.
///
/// Two keys that are canonically equivalent (Unicode Annex 15) are one key. Iteration goes in the
/// order of the keys' decomposed bytes, which for ASCII keys is their byte order.
class JSONObject {
  public:
    using Member = std::pair<std::string, JSONValue>;

    JSONObject() = default;
    /// A later member replaces an earlier one of the same key.
    JSONObject(std::initializer_list<Member> members);
    /// The members in any order; of several with one key the last wins. O(n log n).
    [[nodiscard]] static JSONObject fromMembers(std::vector<Member> members);
    /// The same, moving the members out of memory that the caller keeps.
    [[nodiscard]] static JSONObject takeMembers(std::span<Member> members);

    /// The member's value, or nothing. The pointer lives until the object is next changed.
    [[nodiscard]] const JSONValue* find(std::string_view key) const;
    [[nodiscard]] JSONValue* find(std::string_view key);
    /// The member when it is a string; null or nothing otherwise.
    [[nodiscard]] const std::string* string(std::string_view key) const;
    [[nodiscard]] std::optional<std::string> optionalString(std::string_view key) const;
    /// Replaces the value of a key that is there (its spelling stays), or adds the member, which
    /// moves those behind it: many members are for `fromMembers`.
    void set(std::string_view key, JSONValue value);
    /// Whether there was such a key.
    bool erase(std::string_view key);

    [[nodiscard]] bool empty() const;
    [[nodiscard]] std::size_t size() const;
    [[nodiscard]] std::vector<Member>::const_iterator begin() const;
    [[nodiscard]] std::vector<Member>::const_iterator end() const;

    /// The same keys with equal values.
    [[nodiscard]] bool operator==(const JSONObject& other) const;

  private:
    [[nodiscard]] std::size_t lowerBound(std::string_view key) const;
    [[nodiscard]] bool holdsAt(std::size_t index, std::string_view key) const;

    std::vector<Member> m_members; // Sorted by decomposed key, no key twice.
};

/// A JSON number: always a double to every reader.
///
/// Where writing the double back would give another decimal value than was read
/// (12345678901234567890), the text that was read is carried along, and the writer uses it. So a
/// file of the user's that passes through this program keeps its numbers. Equality sees doubles.
class JSONNumber {
  public:
    JSONNumber(double value) : m_value(value) {} // NOLINT(google-explicit-constructor)
    JSONNumber(double value, std::string_view text)
        : m_value(value), m_text(std::make_shared<const std::string>(text)) {}

    [[nodiscard]] double value() const { return m_value; }
    /// The decimal text to write instead of the double; null when the double says it all.
    [[nodiscard]] const std::string* text() const { return m_text.get(); }

    [[nodiscard]] bool operator==(const JSONNumber& other) const {
        return m_value == other.m_value;
    }

  private:
    double m_value;
    std::shared_ptr<const std::string> m_text;
};

/// The one JSON type of the system (RFC 8259): a plain value, copied and compared.
///
/// Texts are UTF-8. Strings compare by Unicode canonical equivalence, numbers as doubles (so NaN
/// equals nothing), objects without regard to order.
class JSONValue {
  public:
    enum class Type { string, number, boolean, object, array, null };

    JSONValue() : m_value(nullptr) {}
    JSONValue(std::nullptr_t) : m_value(nullptr) {}                   // NOLINT
    JSONValue(std::string text) : m_value(std::move(text)) {}         // NOLINT
    JSONValue(std::string_view text) : m_value(std::string(text)) {}  // NOLINT
    JSONValue(const char* text) : m_value(std::string(text)) {}       // NOLINT
    JSONValue(double number) : m_value(JSONNumber(number)) {}         // NOLINT
    JSONValue(int number) : JSONValue(static_cast<double>(number)) {} // NOLINT
    JSONValue(JSONNumber number) : m_value(std::move(number)) {}      // NOLINT
    JSONValue(bool truth) : m_value(truth) {}                         // NOLINT
    JSONValue(JSONObject members) : m_value(std::move(members)) {}    // NOLINT
    JSONValue(JSONArray elements) : m_value(std::move(elements)) {}   // NOLINT

    /// Reads one JSON text. Nothing when it is not valid JSON in valid UTF-8, when a number is
    /// beyond a double, or when it nests deeper than `json::maximumDepth`.
    /// @param maximumValues a text with more values in it is refused, too
    [[nodiscard]] static std::optional<JSONValue>
    parse(std::string_view text,
          std::size_t maximumValues = std::numeric_limits<std::size_t>::max());

    [[nodiscard]] Type type() const { return static_cast<Type>(m_value.index()); }
    [[nodiscard]] bool isNull() const { return type() == Type::null; }

    /// The payload when the value is of that kind, else null or nothing.
    [[nodiscard]] const std::string* string() const { return std::get_if<std::string>(&m_value); }
    [[nodiscard]] std::optional<double> number() const;
    [[nodiscard]] const JSONNumber* numberWithText() const {
        return std::get_if<JSONNumber>(&m_value);
    }
    [[nodiscard]] std::optional<bool> boolean() const;
    [[nodiscard]] const JSONObject* object() const { return std::get_if<JSONObject>(&m_value); }
    [[nodiscard]] JSONObject* object() { return std::get_if<JSONObject>(&m_value); }
    [[nodiscard]] const JSONArray* array() const { return std::get_if<JSONArray>(&m_value); }
    [[nodiscard]] JSONArray* array() { return std::get_if<JSONArray>(&m_value); }

    /// The member of that name when this is an object that holds it; null otherwise.
    [[nodiscard]] const JSONValue* operator[](std::string_view key) const;

    [[nodiscard]] bool operator==(const JSONValue& other) const;

  private:
    friend class JSONReader; // Builds payloads in place.

    // In the order of Type.
    std::variant<std::string, JSONNumber, bool, JSONObject, JSONArray, std::nullptr_t> m_value;
};

// Here, because a member is complete only with its value.
inline bool JSONObject::empty() const {
    return m_members.empty();
}
inline std::size_t JSONObject::size() const {
    return m_members.size();
}
inline std::vector<JSONObject::Member>::const_iterator JSONObject::begin() const {
    return m_members.begin();
}
inline std::vector<JSONObject::Member>::const_iterator JSONObject::end() const {
    return m_members.end();
}

namespace json {

/// A text that nests deeper is refused: the readers and writers recurse once a level.
inline constexpr int maximumDepth = 512;

/// One line without white space, "/" escaped. Nothing when a number is not finite.
[[nodiscard]] std::optional<std::string> compact(const JSONValue& value);

/// The same, appended; on false `out` is as it was.
[[nodiscard]] bool appendCompact(std::string& out, const JSONValue& value);

/// Indented by two spaces, keys sorted by their UTF-8 bytes, "/" not escaped, no line feed at the
/// end. Empty when a number is not finite.
[[nodiscard]] std::string pretty(const JSONValue& value);

} // namespace json
