#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/SecretBytes.h"

/// A sealed message that the cipher refuses: a nonce of a wrong length, or an authentication
/// tag that does not fit key, nonce, associated data and ciphertext.
class CipherError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// AES in Galois/Counter Mode with a tag of 16 bytes (NIST SP 800-38D). What this program makes up
/// itself is AES-256; AES-128 is for what others demand. A key's type tells which, so that a short
/// one never stands in for a long one.
namespace aesgcm {

using Key = SecretBytes<32>;
using Key128 = SecretBytes<16>;
inline constexpr std::size_t nonceSize = 12;
/// OpenSSL opens with no longer one.
inline constexpr std::size_t maximumNonceSize = 128;
inline constexpr std::size_t tagSize = 16;

/// The ciphertext and, behind it, the tag.
/// @param nonce 12 bytes, never used before with this key
/// @throws std::runtime_error when OpenSSL fails
[[nodiscard]] std::vector<std::uint8_t> seal(const Key& key, std::span<const std::uint8_t> nonce,
                                             std::string_view associatedData,
                                             std::string_view plaintext);
[[nodiscard]] std::vector<std::uint8_t> seal(const Key128& key, std::span<const std::uint8_t> nonce,
                                             std::string_view associatedData,
                                             std::string_view plaintext);

/// The plaintext.
/// @param nonce 12 to 128 bytes
/// @param sealed ciphertext and tag, as `seal` gives them
/// @throws CipherError; std::runtime_error when OpenSSL fails
[[nodiscard]] std::string open(const Key& key, std::span<const std::uint8_t> nonce,
                               std::string_view associatedData,
                               std::span<const std::uint8_t> sealed);
[[nodiscard]] std::string open(const Key128& key, std::span<const std::uint8_t> nonce,
                               std::string_view associatedData,
                               std::span<const std::uint8_t> sealed);

} // namespace aesgcm
