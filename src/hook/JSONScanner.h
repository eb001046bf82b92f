#pragma once

#include <span>
#include <string>
#include <string_view>

namespace hook {

/// One member that a reader asks for, and what a text holds under that key at its top level.
struct Member {
    enum class Type { absent, string, number, other };

    std::string_view key; ///< the question: an ASCII key

    Type type = Type::absent;
    std::string text{}; ///< of a string: unescaped, UTF-8
    double number = 0;  ///< of a number
    int count = 0;      ///< how often the key is there; the answer is the last one's
};

/// What an escape that is half of a surrogate pair, as agents write where they cut a text, makes
/// of the document: the configuration is refused, an event is read with U+FFFD in its place.
enum class LoneSurrogates { refused, replaced };

/// Reads the wanted members of one JSON object (RFC 8259).
///
/// The whole text is validated by the rules of `JSONValue::parse`: UTF-8, numbers within a double,
/// at most `json::maximumDepth` containers in one another, nothing but white space around. Nothing
/// is allocated for what was not asked for, because every event of an agent goes through here.
///
/// @return false when the text is anything but one valid object; `wanted` is then unspecified
[[nodiscard]] bool readMembers(std::string_view text, std::span<Member> wanted,
                               LoneSurrogates loneSurrogates);

} // namespace hook
