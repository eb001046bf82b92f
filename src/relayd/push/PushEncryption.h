#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "crypto/P256.h"
#include "crypto/SecretBytes.h"
#include "relayd/push/ContentEncoding.h"

/// A plaintext of more than `pushencryption::maximumPlaintext` bytes.
class PushTooLong final : public std::length_error {
  public:
    using std::length_error::length_error;
};

/// What a browser gave for messages to it (RFC 8291 section 2).
struct PushKeys {
    P256PublicKey p256dh;
    SecretBytes<16> auth;
};

/// Message Encryption for Web Push (RFC 8291): what a push service carries and cannot read.
namespace pushencryption {

/// Push services may refuse a longer one (RFC 8030 section 7.2).
inline constexpr std::size_t maximumBody = 4096;
inline constexpr std::size_t maximumPlaintext = maximumBody - contentencoding::headerSize -
                                                P256PublicKey::size -
                                                contentencoding::recordOverhead;
static_assert(maximumPlaintext == 3993);
/// Plaintexts are padded to the next multiple of this, or to the maximum: a push service learns one
/// of four lengths.
inline constexpr std::size_t paddingStep = 1024;

/// The zero bytes that belong behind a plaintext of this length, which is at most the maximum.
[[nodiscard]] std::size_t padding(std::size_t length);

/// The body of a push, to be sent with "Content-Encoding: aes128gcm".
/// @throws PushTooLong; std::runtime_error when OpenSSL fails
[[nodiscard]] std::string encrypt(const PushKeys& to, std::string_view plaintext);
/// The same with what is otherwise fresh for every message: no two may share both of them.
/// @param padded zero bytes behind the plaintext
[[nodiscard]] std::string encrypt(const PushKeys& to, std::string_view plaintext,
                                  const P256PrivateKey& ephemeral,
                                  const contentencoding::Salt& salt, std::size_t padded);

} // namespace pushencryption
