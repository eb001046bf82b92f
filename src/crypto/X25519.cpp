#include "crypto/X25519.h"

#include <memory>
#include <stdexcept>

#include <openssl/evp.h>

#include "crypto/Random.h"

namespace {

struct FreeKey {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};

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
    const std::unique_ptr<EVP_PKEY, FreeKey> key(
        EVP_PKEY_new_raw_private_key(EVP_PKEY_X25519, nullptr, bytes().data(), size));
    std::array<std::uint8_t, size> result{};
    std::size_t length = result.size();
    if (!key || EVP_PKEY_get_raw_public_key(key.get(), result.data(), &length) != 1)
        throw std::runtime_error("OpenSSL gave no X25519 public key");
    return result;
}
