#include "core/Base64Url.h"

#include <algorithm>

#include "core/Base64.h"

namespace base64url {

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
    const auto bytes = base64::decode(standard);
    if (!bytes)
        return std::nullopt;
    return std::vector<std::uint8_t>(bytes->begin(), bytes->end());
}

} // namespace base64url
