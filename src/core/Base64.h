#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Standard Base64 with padding (RFC 4648 section 4), as in the hook's request header.
namespace base64 {

[[nodiscard]] std::string encode(std::string_view bytes);

/// Nothing when a character is outside the alphabet (white space included), or the padding is not
/// exactly what the length asks for.
[[nodiscard]] std::optional<std::string> decode(std::string_view text);

} // namespace base64
