#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// The cryptography of a phone, by nettle: none of it is the daemon's. All bytes are in strings.
namespace phonecrypto {

[[nodiscard]] std::string randomBytes(std::size_t count);

/// Unpadded URL-safe Base64 (RFC 4648 section 5).
[[nodiscard]] std::string toBase64url(std::string_view bytes);
/// @throws std::invalid_argument
[[nodiscard]] std::string fromBase64url(std::string_view text);

/// HMAC-SHA256 (RFC 2104), as base64url.
[[nodiscard]] std::string hmacText(std::string_view key, std::string_view message);
/// SHA-256 (FIPS 180-4), as base64url.
[[nodiscard]] std::string hashText(std::string_view text);
/// HKDF-SHA256 (RFC 5869), 32 bytes.
[[nodiscard]] std::string hkdf(std::string_view secret, std::string_view salt,
                               std::string_view info);

/// X25519 (RFC 7748), 32 bytes each.
[[nodiscard]] std::string publicKey(std::string_view privateKey);
[[nodiscard]] std::string sharedSecret(std::string_view privateKey, std::string_view publicKey);

/// AES-256-GCM (NIST SP 800-38D): the ciphertext, and its tag of 16 bytes behind it.
[[nodiscard]] std::string seal(std::string_view key, std::string_view nonce,
                               std::string_view associatedData, std::string_view plaintext);
/// Nothing when the tag is not right.
[[nodiscard]] std::optional<std::string> open(std::string_view key, std::string_view nonce,
                                              std::string_view associatedData,
                                              std::string_view sealed);

} // namespace phonecrypto
