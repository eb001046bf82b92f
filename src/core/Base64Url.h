#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Unpadded URL-safe Base64 (RFC 4648 section 5): the only text form of binary data in the
/// configuration's relay keys and on the relay wire.
namespace base64url {

/// Four characters for every three bytes, without "=".
[[nodiscard]] std::string encode(std::span<const std::uint8_t> bytes);

/// Accepts text with or without its "=" padding. Nothing when a character is outside the alphabet
/// (white space included) or the length cannot be one of an encoding.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> decode(std::string_view text);

} // namespace base64url
