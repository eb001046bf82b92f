#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// Ed25519 signatures (RFC 8032, section 5.1: the pure scheme, without a context).
namespace ed25519 {

inline constexpr std::size_t publicKeySize = 32;
inline constexpr std::size_t signatureSize = 64;

using PublicKey = std::array<std::uint8_t, publicKeySize>;
using Signature = std::array<std::uint8_t, signatureSize>;

/// Whether the signature is the key's over exactly these bytes. Any thread may ask. Takes about two
/// seconds for a gigabyte: the scheme reads the message whole.
/// @throws std::runtime_error when the system has no Ed25519
[[nodiscard]] bool verify(const PublicKey& key, std::span<const std::uint8_t> message,
                          const Signature& signature);

} // namespace ed25519
