#include "core/Base64Url.h"

#include <algorithm>

#include "core/Base64.h"
#include "crypto/SecretBytes.h"

namespace base64url {

namespace {

void scrubText(std::string& text) {
    scrub({reinterpret_cast<std::uint8_t*>(text.data()), text.size()});
}

} // namespace

std::string encode(std::span<const std::uint8_t> bytes) {
    std::string text = base64::encode({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    text.erase(std::min(text.find('='), text.size()));
    std::ranges::replace(text, '+', '-');
    std::ranges::replace(text, '/', '_');
    return text;
}

std::optional<std::vector<std::uint8_t>> decode(std::string_view text) {
    if (text.find_first_of("+/") != std::string_view::npos)
        return std::nullopt;
    std::string standard(text);
    std::ranges::replace(standard, '-', '+');
    std::ranges::replace(standard, '_', '/');
    while (standard.size() % 4 != 0)
        standard += '=';
    auto bytes = base64::decode(standard);
    std::optional<std::vector<std::uint8_t>> result;
    if (bytes)
        result.emplace(bytes->begin(), bytes->end());
    // Most of what is decoded is a key.
    scrubText(standard);
    if (bytes)
        scrubText(*bytes);
    return result;
}

} // namespace base64url
