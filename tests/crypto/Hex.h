#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The bytes that published vectors write in hexadecimal digits.
inline std::vector<std::uint8_t> fromHex(std::string_view hex) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(
            static_cast<std::uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
    return bytes;
}

inline std::string textFromHex(std::string_view hex) {
    const auto bytes = fromHex(hex);
    return {bytes.begin(), bytes.end()};
}
