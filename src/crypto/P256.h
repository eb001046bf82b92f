#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "crypto/SecretBytes.h"

/// An ES256 signature (RFC 7518 section 3.4): r and s, each of 32 bytes, big-endian.
using ES256Signature = std::array<std::uint8_t, 64>;

/// A point of the curve P-256 (FIPS 186-5, SP 800-186) that is not infinity. As the curve has
/// cofactor 1, every such point is a valid public key (SP 800-56A section 5.6.2.3).
class P256PublicKey {
  public:
    static constexpr std::size_t size = 65;

    /// Reads the uncompressed form (SEC 1 section 2.3.3): 0x04, then x and y of 32 bytes each.
    /// Nothing for another form or length, a coordinate beyond the field, or a point that is not on
    /// the curve. @throws std::runtime_error when OpenSSL fails
    [[nodiscard]] static std::optional<P256PublicKey> from(std::span<const std::uint8_t> bytes);

    [[nodiscard]] std::span<const std::uint8_t, size> bytes() const { return m_bytes; }
    /// Whether the signature is this key's over the SHA-256 of the message.
    /// @throws std::runtime_error when OpenSSL fails
    [[nodiscard]] bool verify(std::string_view message, const ES256Signature& signature) const;

    bool operator==(const P256PublicKey&) const = default;

  private:
    friend class P256PrivateKey;
    explicit P256PublicKey(std::span<const std::uint8_t, size> bytes);

    std::array<std::uint8_t, size> m_bytes;
};

/// A private key of P-256 with its public one, for ECDH (SP 800-56A section 5.7.1.2) and ES256.
/// All of it throws std::runtime_error when OpenSSL fails.
class P256PrivateKey {
  public:
    static constexpr std::size_t size = 32;

    /// A fresh one. @throws std::system_error when the system gives no random bytes
    [[nodiscard]] static P256PrivateKey generate();
    /// Reads the scalar, big-endian. Nothing unless there are exactly 32 bytes and they are between
    /// 1 and the order of the curve less 1.
    [[nodiscard]] static std::optional<P256PrivateKey> from(std::span<const std::uint8_t> bytes);

    [[nodiscard]] std::span<const std::uint8_t, size> bytes() const { return m_scalar.bytes(); }
    [[nodiscard]] const P256PublicKey& publicKey() const { return m_publicKey; }
    /// The secret that both sides compute: the x of the common point.
    [[nodiscard]] SecretBytes<size> sharedSecret(const P256PublicKey& other) const;
    /// Signs the SHA-256 of the message. No two signatures of the same message are the same.
    [[nodiscard]] ES256Signature sign(std::string_view message) const;

  private:
    P256PrivateKey(std::span<const std::uint8_t, size> scalar, const P256PublicKey& publicKey)
        : m_scalar(scalar), m_publicKey(publicKey) {}

    SecretBytes<size> m_scalar;
    P256PublicKey m_publicKey;
};
