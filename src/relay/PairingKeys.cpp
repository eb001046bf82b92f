#include "relay/PairingKeys.h"

#include "core/Base64Url.h"
#include "crypto/Hash.h"

namespace pairing {

namespace {

// A token admits whoever has it; what stays of it is the hash.
std::string hashOfToken(std::string token) {
    std::string result = hashText(token);
    scrub({reinterpret_cast<std::uint8_t*>(token.data()), token.size()});
    return result;
}

} // namespace

std::string hmacText(std::span<const std::uint8_t> key, std::string_view message) {
    return base64url::encode(hash::hmac(key, message));
}

std::string hashText(std::string_view text) {
    return base64url::encode(hash::sha256(text));
}

std::string inviteHash(const Invite& invite) {
    return hashOfToken(hmacText(invite.secret, "tamsell invite v2"));
}

std::string proof(std::span<const std::uint8_t> inviteSecret, std::string_view device,
                  std::string_view publicKey, std::string_view name) {
    std::string message = "tamsell pair v2|";
    message.append(device).append("|").append(publicKey).append("|").append(name);
    return hmacText(inviteSecret, message);
}

std::optional<aesgcm::Key> deviceKey(const X25519PrivateKey& own,
                                     std::span<const std::uint8_t> phonePublicKey,
                                     const Invite& invite, std::string_view device) {
    const auto shared = own.sharedSecret(phonePublicKey);
    if (!shared)
        return std::nullopt;
    std::string info = "tamsell device v2|" + invite.channel + "|";
    info += device;
    return hash::hkdf(shared->bytes(), invite.secret, info);
}

std::string admissionHash(const aesgcm::Key& deviceKey) {
    return hashOfToken(hmacText(deviceKey.bytes(), "tamsell relay auth v2"));
}

std::optional<aesgcm::Key> keyFromText(std::string_view base64url) {
    auto bytes = ::base64url::decode(base64url);
    if (!bytes)
        return std::nullopt;
    std::optional<aesgcm::Key> key;
    if (bytes->size() == 32)
        key.emplace(std::span(*bytes).first<32>());
    scrub(*bytes);
    return key;
}

} // namespace pairing
