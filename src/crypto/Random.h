#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// The system's secure random generator (getrandom(2)).
namespace securerandom {

/// @throws std::system_error when the system refuses
void fill(std::span<std::uint8_t> bytes);

template <std::size_t count>
[[nodiscard]] std::array<std::uint8_t, count> bytes() {
    std::array<std::uint8_t, count> result;
    fill(result);
    return result;
}

/// A version 4 UUID in lower case (RFC 9562 section 5.4).
[[nodiscard]] std::string uuid();

} // namespace securerandom
