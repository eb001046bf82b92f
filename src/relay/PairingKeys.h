#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "crypto/AESGCM.h"
#include "crypto/X25519.h"
#include "relay/Invite.h"

/// What pairing derives from the invite's secret and the two key pairs. The relay gets hashes
/// alone: it can tell who may come in, and can open nothing.
namespace pairing {

/// HMAC-SHA256 of the text, as base64url (43 characters).
[[nodiscard]] std::string hmacText(std::span<const std::uint8_t> key, std::string_view message);
/// SHA-256 of the text, as base64url (43 characters).
[[nodiscard]] std::string hashText(std::string_view text);

/// The name under which the relay knows an invite.
[[nodiscard]] std::string inviteHash(const Invite& invite);

/// What proves that a phone has seen the invite, and what else it says: the texts exactly as sent.
[[nodiscard]] std::string proof(std::span<const std::uint8_t> inviteSecret, std::string_view device,
                                std::string_view publicKey, std::string_view name);

/// The key of the phone's `Box`. Nothing when the public key is none, or a degenerate one.
[[nodiscard]] std::optional<aesgcm::Key> deviceKey(const X25519PrivateKey& own,
                                                   std::span<const std::uint8_t> phonePublicKey,
                                                   const Invite& invite, std::string_view device);

/// By which the relay recognises the phone: the hash of the token that the phone presents.
[[nodiscard]] std::string admissionHash(const aesgcm::Key& deviceKey);

/// The stored text form of a device key; nothing when it is not one.
[[nodiscard]] std::optional<aesgcm::Key> keyFromText(std::string_view base64url);

} // namespace pairing
