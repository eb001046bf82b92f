#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// The content encoding "aes128gcm" (RFC 8188), of contents that fit into one record.
namespace contentencoding {

inline constexpr std::size_t saltSize = 16;
using Salt = std::array<std::uint8_t, saltSize>;

inline constexpr std::size_t recordSize = 4096;
/// Salt, record size and the length of the key's identifier (section 2.1).
inline constexpr std::size_t headerSize = saltSize + 4 + 1;
/// What a record has beside content and padding: the delimiter and the tag.
inline constexpr std::size_t recordOverhead = 1 + 16;

/// The encoded body: header, then the record.
/// @param salt never used before with this key material
/// @param keyID at most 255 bytes
/// @param padding bytes that the record is longer for
/// @throws std::length_error when the record or keyID would be too long; std::runtime_error when
///         OpenSSL fails
[[nodiscard]] std::string encode(std::span<const std::uint8_t> keyMaterial, const Salt& salt,
                                 std::string_view keyID, std::string_view content,
                                 std::size_t padding);

} // namespace contentencoding
