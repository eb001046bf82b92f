#include "crypto/AESGCM.h"

#include <climits>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include "crypto/OpenSSL.h"

namespace aesgcm {

namespace {

using Cipher = OpenSSLPointer<EVP_CIPHER, EVP_CIPHER_free>;
using Context = OpenSSLPointer<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;

enum class Direction { open = 0, seal = 1 };

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

// OpenSSL counts in int.
int lengthOf(std::size_t size) {
    requireOpenSSL(size <= INT_MAX, "too long for the cipher");
    return static_cast<int>(size);
}

const EVP_CIPHER* algorithmFor(const Key& /*key*/) {
    static const Cipher algorithm(EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr));
    return algorithm.get();
}

const EVP_CIPHER* algorithmFor(const Key128& /*key*/) {
    static const Cipher algorithm(EVP_CIPHER_fetch(nullptr, "AES-128-GCM", nullptr));
    return algorithm.get();
}

// A context with key and nonce set. Freeing it overwrites what it knows of the key.
template <typename AnyKey>
Context begin(const AnyKey& key, std::span<const std::uint8_t> nonce, Direction direction) {
    const EVP_CIPHER* const algorithm = algorithmFor(key);
    Context context(EVP_CIPHER_CTX_new());
    std::size_t nonceLength = nonce.size();
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_size_t(OSSL_CIPHER_PARAM_IVLEN, &nonceLength),
        OSSL_PARAM_construct_end()};
    requireOpenSSL(algorithm && context &&
                       EVP_CipherInit_ex2(context.get(), algorithm, key.bytes().data(), nullptr,
                                          static_cast<int>(direction), parameters) == 1 &&
                       EVP_CipherInit_ex2(context.get(), nullptr, nullptr, nonce.data(),
                                          static_cast<int>(direction), nullptr) == 1,
                   "OpenSSL refused to set up AES-GCM");
    return context;
}

bool addAssociatedData(EVP_CIPHER_CTX* context, std::string_view data) {
    int written = 0;
    return EVP_CipherUpdate(context, nullptr, &written, bytesOf(data), lengthOf(data.size())) == 1;
}

template <typename AnyKey>
std::vector<std::uint8_t> sealWith(const AnyKey& key, std::span<const std::uint8_t> nonce,
                                   std::string_view associatedData, std::string_view plaintext) {
    const OpenSSLErrors errors;
    const Context context = begin(key, nonce, Direction::seal);
    std::vector<std::uint8_t> sealed(plaintext.size() + tagSize);
    int written = 0;
    int finished = 0;
    requireOpenSSL(
        addAssociatedData(context.get(), associatedData) &&
            EVP_EncryptUpdate(context.get(), sealed.data(), &written, bytesOf(plaintext),
                              lengthOf(plaintext.size())) == 1 &&
            EVP_EncryptFinal_ex(context.get(), sealed.data() + written, &finished) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, static_cast<int>(tagSize),
                                sealed.data() + plaintext.size()) == 1,
        "OpenSSL could not seal");
    return sealed;
}

template <typename AnyKey>
std::string openWith(const AnyKey& key, std::span<const std::uint8_t> nonce,
                     std::string_view associatedData, std::span<const std::uint8_t> sealed) {
    if (nonce.size() < nonceSize || nonce.size() > maximumNonceSize)
        throw CipherError("not the length of a nonce");
    if (sealed.size() < tagSize)
        throw CipherError("no authentication tag");
    const OpenSSLErrors errors;
    const Context context = begin(key, nonce, Direction::open);
    const auto ciphertext = sealed.first(sealed.size() - tagSize);
    std::string plaintext(ciphertext.size(), '\0');
    auto* const out = reinterpret_cast<unsigned char*>(plaintext.data());
    int written = 0;
    requireOpenSSL(
        addAssociatedData(context.get(), associatedData) &&
            EVP_DecryptUpdate(context.get(), out, &written, ciphertext.data(),
                              lengthOf(ciphertext.size())) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, static_cast<int>(tagSize),
                                const_cast<std::uint8_t*>(sealed.last(tagSize).data())) == 1,
        "OpenSSL could not open");
    // Nothing of the plaintext leaves before the tag is found right.
    if (EVP_DecryptFinal_ex(context.get(), out + written, &written) != 1)
        throw CipherError("authentication failure");
    return plaintext;
}

} // namespace

std::vector<std::uint8_t> seal(const Key& key, std::span<const std::uint8_t> nonce,
                               std::string_view associatedData, std::string_view plaintext) {
    return sealWith(key, nonce, associatedData, plaintext);
}

std::vector<std::uint8_t> seal(const Key128& key, std::span<const std::uint8_t> nonce,
                               std::string_view associatedData, std::string_view plaintext) {
    return sealWith(key, nonce, associatedData, plaintext);
}

std::string open(const Key& key, std::span<const std::uint8_t> nonce,
                 std::string_view associatedData, std::span<const std::uint8_t> sealed) {
    return openWith(key, nonce, associatedData, sealed);
}

std::string open(const Key128& key, std::span<const std::uint8_t> nonce,
                 std::string_view associatedData, std::span<const std::uint8_t> sealed) {
    return openWith(key, nonce, associatedData, sealed);
}

} // namespace aesgcm
