#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "crypto/SecretBytes.h"

/// A private key of the X25519 key agreement (RFC 7748 section 5), as its 32 raw bytes.
class X25519PrivateKey {
  public:
    static constexpr std::size_t size = 32;

    /// A fresh one. @throws std::system_error when the system gives no random bytes
    [[nodiscard]] static X25519PrivateKey generate();
    /// Nothing unless there are exactly 32 bytes.
    [[nodiscard]] static std::optional<X25519PrivateKey> from(std::span<const std::uint8_t> bytes);

    [[nodiscard]] std::span<const std::uint8_t, size> bytes() const { return m_bytes.bytes(); }
    /// @throws std::runtime_error when OpenSSL fails
    [[nodiscard]] std::array<std::uint8_t, size> publicKey() const;
    /// The secret that both sides compute. Nothing unless the other side's public key has 32 bytes,
    /// and for the few that give the same secret with every private key (RFC 7748 section 6.1).
    [[nodiscard]] std::optional<SecretBytes<size>>
    sharedSecret(std::span<const std::uint8_t> otherPublicKey) const;

  private:
    explicit X25519PrivateKey(std::span<const std::uint8_t, size> bytes) : m_bytes(bytes) {}

    SecretBytes<size> m_bytes;
};
