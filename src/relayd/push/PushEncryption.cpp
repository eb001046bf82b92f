#include "relayd/push/PushEncryption.h"

#include <algorithm>

#include "crypto/Hash.h"
#include "crypto/Random.h"

namespace pushencryption {

namespace {

std::string_view textOf(const P256PublicKey& key) {
    return {reinterpret_cast<const char*>(key.bytes().data()), key.bytes().size()};
}

} // namespace

std::size_t padding(std::size_t length) {
    const std::size_t steps = std::max<std::size_t>(1, (length + paddingStep - 1) / paddingStep);
    return std::min(steps * paddingStep, maximumPlaintext) - length;
}

std::string encrypt(const PushKeys& to, std::string_view plaintext) {
    if (plaintext.size() > maximumPlaintext)
        throw PushTooLong("too long for a push");
    return encrypt(to, plaintext, P256PrivateKey::generate(),
                   securerandom::bytes<contentencoding::saltSize>(), padding(plaintext.size()));
}

std::string encrypt(const PushKeys& to, std::string_view plaintext, const P256PrivateKey& ephemeral,
                    const contentencoding::Salt& salt, std::size_t padded) {
    if (plaintext.size() > maximumPlaintext || padded > maximumPlaintext - plaintext.size())
        throw PushTooLong("too long for a push");
    // RFC 8291 section 3.4: both public keys are bound into the key material.
    std::string info("WebPush: info\0", 14);
    info.append(textOf(to.p256dh)).append(textOf(ephemeral.publicKey()));
    const auto secret = ephemeral.sharedSecret(to.p256dh);
    const auto keyMaterial = hash::hkdf(secret.bytes(), to.auth.bytes(), info);
    return contentencoding::encode(keyMaterial.bytes(), salt, textOf(ephemeral.publicKey()),
                                   plaintext, padded);
}

} // namespace pushencryption
