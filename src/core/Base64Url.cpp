#include "core/Base64Url.h"

#include <algorithm>
#include <array>

#include "crypto/SecretBytes.h"

namespace base64url {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

// What no character stands for. It shows in whatever it is combined with.
constexpr std::uint32_t invalid = 0xFF00'0000;

constexpr auto values = [] {
    std::array<std::uint32_t, 256> table{};
    table.fill(invalid);
    for (std::size_t i = 0; i < 64; ++i)
        table[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint32_t>(i);
    return table;
}();

std::uint32_t valueOf(char character) {
    return values[static_cast<unsigned char>(character)];
}

} // namespace

std::string encode(std::span<const std::uint8_t> bytes) {
    std::string text((bytes.size() * 4 + 2) / 3, '\0');
    const std::uint8_t* in = bytes.data();
    char* out = text.data();
    for (std::size_t i = bytes.size() / 3; i > 0; --i, in += 3, out += 4) {
        const std::uint32_t group = std::uint32_t{in[0]} << 16 | std::uint32_t{in[1]} << 8 | in[2];
        out[0] = alphabet[group >> 18];
        out[1] = alphabet[group >> 12 & 63];
        out[2] = alphabet[group >> 6 & 63];
        out[3] = alphabet[group & 63];
    }
    if (const std::size_t rest = bytes.size() % 3; rest > 0) {
        const std::uint32_t second = rest == 2 ? in[1] : 0;
        const std::uint32_t group = std::uint32_t{in[0]} << 16 | second << 8;
        out[0] = alphabet[group >> 18];
        out[1] = alphabet[group >> 12 & 63];
        if (rest == 2)
            out[2] = alphabet[group >> 6 & 63];
    }
    return text;
}

std::optional<std::vector<std::uint8_t>> decode(std::string_view text) {
    const std::size_t padding = text.size() - (text.find_last_not_of('=') + 1);
    const std::string_view digits = text.substr(0, text.size() - padding);
    const std::size_t rest = digits.size() % 4;
    if (rest == 1 || padding > (4 - rest) % 4)
        return std::nullopt;

    std::vector<std::uint8_t> bytes(digits.size() * 3 / 4);
    const char* in = digits.data();
    std::uint8_t* out = bytes.data();
    std::uint32_t seen = 0;
    for (std::size_t i = digits.size() / 4; i > 0; --i, in += 4, out += 3) {
        const std::uint32_t group =
            valueOf(in[0]) << 18 | valueOf(in[1]) << 12 | valueOf(in[2]) << 6 | valueOf(in[3]);
        seen |= group | valueOf(in[0]) | valueOf(in[1]) | valueOf(in[2]);
        out[0] = static_cast<std::uint8_t>(group >> 16);
        out[1] = static_cast<std::uint8_t>(group >> 8);
        out[2] = static_cast<std::uint8_t>(group);
    }
    if (rest > 0) {
        const std::uint32_t third = rest == 3 ? valueOf(in[2]) : 0;
        const std::uint32_t group = valueOf(in[0]) << 18 | valueOf(in[1]) << 12 | third << 6;
        seen |= valueOf(in[0]) | valueOf(in[1]) | third;
        out[0] = static_cast<std::uint8_t>(group >> 16);
        if (rest == 3)
            out[1] = static_cast<std::uint8_t>(group >> 8);
    }
    if ((seen & invalid) != 0) {
        scrub(bytes); // It may be most of a key.
        return std::nullopt;
    }
    return bytes;
}

} // namespace base64url
