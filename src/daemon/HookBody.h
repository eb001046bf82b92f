#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/JSONValue.h"

/// Reading what an agent sent.
namespace hookbody {

/// The members of the body's object. Agents cut strings between the halves of a surrogate pair;
/// a body that does not parse is parsed once more with its lone surrogate escapes replaced.
/// Anything else that is not a JSON object counts as the empty one.
[[nodiscard]] JSONObject parse(std::string_view body);

/// The text with every \uD8xx or \uDCxx escape that is not half of a pair replaced by \uFFFD.
/// Nothing else is touched; the length stays the same.
[[nodiscard]] std::string withoutLoneSurrogates(std::string_view text);

/// The member when it is a string; null otherwise.
[[nodiscard]] const std::string* string(const JSONObject& body, std::string_view key);
/// The same as a copy.
[[nodiscard]] std::optional<std::string> optionalString(const JSONObject& body,
                                                        std::string_view key);

/// Which program started the hook: "Codex", "Claude.app", "SDK", "terminal", "other" or "unknown".
[[nodiscard]] std::string_view detectClient(const JSONObject& body);

/// One line about the event, at most 200 characters.
[[nodiscard]] std::string summarize(const JSONObject& body);

} // namespace hookbody
