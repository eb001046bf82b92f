#include "crypto/Hash.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include "crypto/OpenSSL.h"

namespace hash {

namespace {

using Digester = OpenSSLPointer<EVP_MD, EVP_MD_free>;
using MAC = OpenSSLPointer<EVP_MAC, EVP_MAC_free>;
using MACContext = OpenSSLPointer<EVP_MAC_CTX, EVP_MAC_CTX_free>;
using KDF = OpenSSLPointer<EVP_KDF, EVP_KDF_free>;
using KDFContext = OpenSSLPointer<EVP_KDF_CTX, EVP_KDF_CTX_free>;

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// An empty span may point nowhere, which OpenSSL takes for a key that was not given.
const std::uint8_t* dataOf(std::span<const std::uint8_t> bytes) {
    static constexpr std::uint8_t nothing = 0;
    return bytes.empty() ? &nothing : bytes.data();
}

// OpenSSL takes parameters that it only reads as pointers to what it could write.
OSSL_PARAM octets(const char* name, std::span<const std::uint8_t> bytes) {
    return OSSL_PARAM_construct_octet_string(name, const_cast<std::uint8_t*>(dataOf(bytes)),
                                             bytes.size());
}

OSSL_PARAM digestName(const char* name) {
    static char sha256Name[] = "SHA256";
    return OSSL_PARAM_construct_utf8_string(name, sha256Name, 0);
}

} // namespace

Digest sha256(std::string_view message) {
    const OpenSSLErrors errors;
    static const Digester algorithm(EVP_MD_fetch(nullptr, "SHA256", nullptr));
    Digest digest;
    requireOpenSSL(algorithm && EVP_Digest(message.data(), message.size(), digest.data(), nullptr,
                                           algorithm.get(), nullptr) == 1,
                   "OpenSSL gave no SHA-256");
    return digest;
}

Digest hmac(std::span<const std::uint8_t> key, std::string_view message) {
    const OpenSSLErrors errors;
    static const MAC algorithm(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
    const MACContext context(algorithm ? EVP_MAC_CTX_new(algorithm.get()) : nullptr);
    const OSSL_PARAM parameters[] = {digestName(OSSL_MAC_PARAM_DIGEST), OSSL_PARAM_construct_end()};
    Digest digest;
    std::size_t length = 0;
    requireOpenSSL(context &&
                       EVP_MAC_init(context.get(), dataOf(key), key.size(), parameters) == 1 &&
                       EVP_MAC_update(context.get(), bytesOf(message), message.size()) == 1 &&
                       EVP_MAC_final(context.get(), digest.data(), &length, digest.size()) == 1 &&
                       length == digest.size(),
                   "OpenSSL gave no HMAC");
    return digest;
}

void hkdf(std::span<const std::uint8_t> keyMaterial, std::span<const std::uint8_t> salt,
          std::string_view info, std::span<std::uint8_t> out) {
    const OpenSSLErrors errors;
    static const KDF algorithm(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
    const KDFContext context(algorithm ? EVP_KDF_CTX_new(algorithm.get()) : nullptr);
    const OSSL_PARAM parameters[] = {
        digestName(OSSL_KDF_PARAM_DIGEST), octets(OSSL_KDF_PARAM_KEY, keyMaterial),
        octets(OSSL_KDF_PARAM_SALT, salt),
        octets(OSSL_KDF_PARAM_INFO, {bytesOf(info), info.size()}), OSSL_PARAM_construct_end()};
    requireOpenSSL(context &&
                       EVP_KDF_derive(context.get(), out.data(), out.size(), parameters) == 1,
                   "OpenSSL gave no HKDF");
}

SecretBytes<32> hkdf(std::span<const std::uint8_t> keyMaterial, std::span<const std::uint8_t> salt,
                     std::string_view info) {
    SecretBytes<32> key;
    hkdf(keyMaterial, salt, info, key.writable());
    return key;
}

} // namespace hash
