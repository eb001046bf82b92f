#pragma once

#include <string>
#include <string_view>

#include "core/JSONValue.h"

/// Reading what an agent sent.
namespace hookbody {

/// The members of the body's object. Agents cut strings between the halves of a surrogate pair;
/// a body that does not parse is parsed once more with its lone surrogate escapes replaced.
/// Anything else that is not a JSON object, or has more than 200,000 values, counts as the empty
/// one.
[[nodiscard]] JSONObject parse(std::string_view body);

/// The text with every \uD8xx or \uDCxx escape that is not half of a pair replaced by \uFFFD.
/// Nothing else is touched; the length stays the same.
[[nodiscard]] std::string withoutLoneSurrogates(std::string_view text);

/// Adds what the request's headers say about the sender, where they say something: "_parent", the
/// agent's command line, given in Base64, and "_client". A text that is not Base64 is ignored.
void addSender(JSONObject& body, const std::string* parent, const std::string* client);

/// Which program started the hook: "Codex", "Claude.app", "SDK", "terminal", "other" or "unknown".
[[nodiscard]] std::string_view detectClient(const JSONObject& body);

/// What a tool is to be used on: its command, else its file; null when there is neither.
[[nodiscard]] const std::string* subject(const JSONValue& toolInput);

/// One line about the event, at most 200 characters.
[[nodiscard]] std::string summarize(const JSONObject& body);

} // namespace hookbody
