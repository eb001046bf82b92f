#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "crypto/SecretBytes.h"

/// SHA-256 and what is built on it. All of it throws std::runtime_error only when OpenSSL itself
/// fails, which it does for want of memory.
namespace hash {

inline constexpr std::size_t size = 32;
using Digest = std::array<std::uint8_t, size>;

/// SHA-256 (FIPS 180-4).
[[nodiscard]] Digest sha256(std::string_view message);

/// HMAC with SHA-256 (RFC 2104, RFC 4231). A key of any length.
[[nodiscard]] Digest hmac(std::span<const std::uint8_t> key, std::string_view message);

/// HKDF with SHA-256, extract and expand (RFC 5869), for 32 bytes.
[[nodiscard]] SecretBytes<32> hkdf(std::span<const std::uint8_t> keyMaterial,
                                   std::span<const std::uint8_t> salt, std::string_view info);
/// The same for any length up to 8160 bytes, all of `out`.
void hkdf(std::span<const std::uint8_t> keyMaterial, std::span<const std::uint8_t> salt,
          std::string_view info, std::span<std::uint8_t> out);

} // namespace hash
