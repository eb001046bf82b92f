#include "crypto/X25519.h"

#include <openssl/evp.h>

#include "crypto/OpenSSL.h"
#include "crypto/Random.h"

namespace {

using Key = OpenSSLPointer<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = OpenSSLPointer<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;

Key privateKey(std::span<const std::uint8_t, X25519PrivateKey::size> bytes) {
    return Key(EVP_PKEY_new_raw_private_key(EVP_PKEY_X25519, nullptr, bytes.data(), bytes.size()));
}

} // namespace

X25519PrivateKey X25519PrivateKey::generate() {
    // Any 32 bytes are a private key: the function clamps them (RFC 7748 section 5).
    SecretBytes<size> bytes;
    securerandom::fill(bytes.writable());
    return X25519PrivateKey(bytes.bytes());
}

std::optional<X25519PrivateKey> X25519PrivateKey::from(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != size)
        return std::nullopt;
    return X25519PrivateKey(bytes.first<size>());
}

std::array<std::uint8_t, X25519PrivateKey::size> X25519PrivateKey::publicKey() const {
    const OpenSSLErrors errors;
    const Key key = privateKey(bytes());
    std::array<std::uint8_t, size> result{};
    std::size_t length = result.size();
    requireOpenSSL(key && EVP_PKEY_get_raw_public_key(key.get(), result.data(), &length) == 1,
                   "OpenSSL gave no X25519 public key");
    return result;
}

std::optional<SecretBytes<X25519PrivateKey::size>>
X25519PrivateKey::sharedSecret(std::span<const std::uint8_t> otherPublicKey) const {
    if (otherPublicKey.size() != size)
        return std::nullopt;
    const OpenSSLErrors errors;
    const Key own = privateKey(bytes());
    const Key other(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_X25519, nullptr, otherPublicKey.data(), size));
    const KeyContext context(own ? EVP_PKEY_CTX_new(own.get(), nullptr) : nullptr);
    requireOpenSSL(other && context && EVP_PKEY_derive_init(context.get()) == 1 &&
                       EVP_PKEY_derive_set_peer(context.get(), other.get()) == 1,
                   "OpenSSL refused to set up X25519");
    SecretBytes<size> secret;
    std::size_t length = size;
    // It fails when the result is all zeros, which only degenerate public keys give.
    if (EVP_PKEY_derive(context.get(), secret.writable().data(), &length) != 1 || length != size)
        return std::nullopt;
    return secret;
}
