#include "crypto/Ed25519.h"

#include <openssl/evp.h>

#include "crypto/OpenSSL.h"

namespace ed25519 {

namespace {

using Key = OpenSSLPointer<EVP_PKEY, EVP_PKEY_free>;
using DigestContext = OpenSSLPointer<EVP_MD_CTX, EVP_MD_CTX_free>;

} // namespace

bool verify(const PublicKey& key, std::span<const std::uint8_t> message,
            const Signature& signature) {
    const OpenSSLErrors errors;
    const Key point(EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, key.data(), key.size()));
    const DigestContext context(EVP_MD_CTX_new());
    // The scheme hashes by itself, hence no digest (EVP_PKEY-ED25519(7)).
    requireOpenSSL(
        point && context &&
            EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, point.get()) == 1,
        "OpenSSL refused to set up Ed25519");
    // An empty span may point nowhere.
    static constexpr std::uint8_t nothing = 0;
    // Anything but 1 is a refusal: 0 for a signature that is none, less for a key that is no point.
    return EVP_DigestVerify(context.get(), signature.data(), signature.size(),
                            message.empty() ? &nothing : message.data(), message.size()) == 1;
}

} // namespace ed25519
