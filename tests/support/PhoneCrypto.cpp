#include "support/PhoneCrypto.h"

#include <algorithm>
#include <random>
#include <stdexcept>

#include <nettle/base64.h>
#include <nettle/curve25519.h>
#include <nettle/gcm.h>
#include <nettle/hkdf.h>
#include <nettle/hmac.h>
#include <nettle/memops.h>
#include <nettle/sha2.h>

namespace phonecrypto {

namespace {

const std::uint8_t* in(std::string_view bytes) {
    return reinterpret_cast<const std::uint8_t*>(bytes.data());
}

std::uint8_t* out(std::string& bytes) {
    return reinterpret_cast<std::uint8_t*>(bytes.data());
}

void require(bool condition, const char* what) {
    if (!condition)
        throw std::invalid_argument(what);
}

std::string hmac(std::string_view key, std::string_view message) {
    hmac_sha256_ctx context;
    hmac_sha256_set_key(&context, key.size(), in(key));
    hmac_sha256_update(&context, message.size(), in(message));
    std::string digest(SHA256_DIGEST_SIZE, '\0');
    hmac_sha256_digest(&context, digest.size(), out(digest));
    return digest;
}

gcm_aes256_ctx begin(std::string_view key, std::string_view nonce,
                     std::string_view associatedData) {
    require(key.size() == AES256_KEY_SIZE, "a key has 32 bytes");
    gcm_aes256_ctx context;
    gcm_aes256_set_key(&context, in(key));
    gcm_aes256_set_iv(&context, nonce.size(), in(nonce));
    gcm_aes256_update(&context, associatedData.size(), in(associatedData));
    return context;
}

} // namespace

std::string randomBytes(std::size_t count) {
    std::random_device device;
    std::string bytes(count, '\0');
    std::ranges::generate(bytes, [&device] { return static_cast<char>(device()); });
    return bytes;
}

std::string toBase64url(std::string_view bytes) {
    base64_encode_ctx context;
    base64url_encode_init(&context);
    std::string text(BASE64_ENCODE_LENGTH(bytes.size()) + BASE64_ENCODE_FINAL_LENGTH, '\0');
    std::size_t length = base64_encode_update(&context, text.data(), bytes.size(), in(bytes));
    length += base64_encode_final(&context, text.data() + length);
    text.resize(length);
    text.erase(std::min(text.find('='), text.size()));
    return text;
}

std::string fromBase64url(std::string_view text) {
    std::string padded(text);
    padded.append((4 - text.size() % 4) % 4, '=');
    base64_decode_ctx context;
    base64url_decode_init(&context);
    std::string bytes(BASE64_DECODE_LENGTH(padded.size()), '\0');
    std::size_t length = 0;
    require(base64_decode_update(&context, &length, out(bytes), padded.size(), padded.data()) &&
                base64_decode_final(&context),
            "not base64url");
    bytes.resize(length);
    return bytes;
}

std::string hmacText(std::string_view key, std::string_view message) {
    return toBase64url(hmac(key, message));
}

std::string hashText(std::string_view text) {
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, text.size(), in(text));
    std::string digest(SHA256_DIGEST_SIZE, '\0');
    sha256_digest(&context, digest.size(), out(digest));
    return toBase64url(digest);
}

std::string hkdf(std::string_view secret, std::string_view salt, std::string_view info) {
    const std::string extracted = hmac(salt, secret);
    hmac_sha256_ctx context;
    hmac_sha256_set_key(&context, extracted.size(), in(extracted));
    std::string key(32, '\0');
    hkdf_expand(&context, reinterpret_cast<nettle_hash_update_func*>(hmac_sha256_update),
                reinterpret_cast<nettle_hash_digest_func*>(hmac_sha256_digest), SHA256_DIGEST_SIZE,
                info.size(), in(info), key.size(), out(key));
    return key;
}

std::string publicKey(std::string_view privateKey) {
    require(privateKey.size() == CURVE25519_SIZE, "a private key has 32 bytes");
    std::string key(CURVE25519_SIZE, '\0');
    curve25519_mul_g(out(key), in(privateKey));
    return key;
}

std::string sharedSecret(std::string_view privateKey, std::string_view publicKey) {
    require(privateKey.size() == CURVE25519_SIZE && publicKey.size() == CURVE25519_SIZE,
            "a key has 32 bytes");
    std::string secret(CURVE25519_SIZE, '\0');
    curve25519_mul(out(secret), in(privateKey), in(publicKey));
    return secret;
}

std::string seal(std::string_view key, std::string_view nonce, std::string_view associatedData,
                 std::string_view plaintext) {
    gcm_aes256_ctx context = begin(key, nonce, associatedData);
    std::string sealed(plaintext.size() + GCM_DIGEST_SIZE, '\0');
    gcm_aes256_encrypt(&context, plaintext.size(), out(sealed), in(plaintext));
    gcm_aes256_digest(&context, GCM_DIGEST_SIZE, out(sealed) + plaintext.size());
    return sealed;
}

std::optional<std::string> open(std::string_view key, std::string_view nonce,
                                std::string_view associatedData, std::string_view sealed) {
    if (sealed.size() < GCM_DIGEST_SIZE)
        return std::nullopt;
    gcm_aes256_ctx context = begin(key, nonce, associatedData);
    const std::string_view tag = sealed.substr(sealed.size() - GCM_DIGEST_SIZE);
    std::string plaintext(sealed.size() - GCM_DIGEST_SIZE, '\0');
    gcm_aes256_decrypt(&context, plaintext.size(), out(plaintext), in(sealed));
    std::string expected(GCM_DIGEST_SIZE, '\0');
    gcm_aes256_digest(&context, GCM_DIGEST_SIZE, out(expected));
    if (!memeql_sec(expected.data(), tag.data(), tag.size()))
        return std::nullopt;
    return plaintext;
}

} // namespace phonecrypto
