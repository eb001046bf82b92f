#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/JSONValue.h"
#include "relayd/Listener.h"

/// The relay's frames: JSON objects with a text "t". docs/relay-protocol.md describes them.
namespace frames {

/// What a frame carries sealed. To the relay both are texts and nothing more.
struct Sealed {
    std::string_view n;
    std::string_view c;

    /// Nothing unless both are texts. It refers to the message.
    [[nodiscard]] static std::optional<Sealed> of(const JSONObject& message);
};

/// The frame as an object, or nothing: not JSON, no object, too many values.
[[nodiscard]] std::optional<JSONObject> parse(std::string_view text);
/// The member when it is a text, else empty.
[[nodiscard]] std::string_view textOf(const JSONObject& message, std::string_view name);

/// The member when it is a list, else null.
[[nodiscard]] const JSONArray* listOf(const JSONObject& message, std::string_view name);

// To a computer.
[[nodiscard]] Frame peers(const std::vector<std::string>& phones);
[[nodiscard]] Frame fromPhone(std::string_view device, const Sealed& sealed);
/// The request of a phone that pairs, as it came.
[[nodiscard]] Frame whole(const JSONObject& message);
/// @param reached phones of those that the items were for, which are `devices`
[[nodiscard]] Frame pushed(std::size_t reached, std::size_t devices);

// To a phone.
[[nodiscard]] Frame toPhone(std::string_view kind, const Sealed& sealed);
[[nodiscard]] Frame computerPresence(bool isConnected);
[[nodiscard]] Frame paired();

// To both.
[[nodiscard]] Frame error(std::string_view reason);
[[nodiscard]] Frame pong();

} // namespace frames
