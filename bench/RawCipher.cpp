#include "RawCipher.h"

#include <stdexcept>

#include <openssl/evp.h>

namespace bench {

namespace {

constexpr int tagSize = 16;

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

} // namespace

struct RawCipher::OpenSSL {
    EVP_CIPHER* algorithm = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
    EVP_CIPHER_CTX* sealing = EVP_CIPHER_CTX_new();
    EVP_CIPHER_CTX* opening = EVP_CIPHER_CTX_new();

    OpenSSL() = default;
    OpenSSL(const OpenSSL&) = delete;
    OpenSSL& operator=(const OpenSSL&) = delete;
    ~OpenSSL() {
        EVP_CIPHER_CTX_free(opening);
        EVP_CIPHER_CTX_free(sealing);
        EVP_CIPHER_free(algorithm);
    }
};

RawCipher::RawCipher(Context context, std::span<const std::uint8_t> key)
    : m_context(context), m_key(key.begin(), key.end()), m_openSSL(std::make_unique<OpenSSL>()) {
    if (EVP_EncryptInit_ex2(m_openSSL->sealing, m_openSSL->algorithm, m_key.data(), nullptr,
                            nullptr) != 1 ||
        EVP_DecryptInit_ex2(m_openSSL->opening, m_openSSL->algorithm, m_key.data(), nullptr,
                            nullptr) != 1)
        throw std::runtime_error("OpenSSL has no AES-256-GCM");
}

RawCipher::~RawCipher() = default;

std::span<const std::uint8_t> RawCipher::seal(std::span<const std::uint8_t> nonce,
                                              std::string_view associatedData,
                                              std::string_view plaintext) {
    unsigned char* const out = room(plaintext.size() + tagSize);
    const bool isFresh = m_context == Context::fresh;
    EVP_CIPHER_CTX* const context = isFresh ? EVP_CIPHER_CTX_new() : m_openSSL->sealing;
    EVP_EncryptInit_ex2(context, isFresh ? m_openSSL->algorithm : nullptr,
                        isFresh ? m_key.data() : nullptr, nonce.data(), nullptr);
    int written = 0;
    EVP_EncryptUpdate(context, nullptr, &written, bytesOf(associatedData),
                      static_cast<int>(associatedData.size()));
    EVP_EncryptUpdate(context, out, &written, bytesOf(plaintext),
                      static_cast<int>(plaintext.size()));
    EVP_EncryptFinal_ex(context, out + written, &written);
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_GET_TAG, tagSize, out + plaintext.size());
    if (isFresh)
        EVP_CIPHER_CTX_free(context);
    return {out, plaintext.size() + tagSize};
}

std::string_view RawCipher::open(std::span<const std::uint8_t> nonce,
                                 std::string_view associatedData,
                                 std::span<const std::uint8_t> sealed) {
    const std::size_t size = sealed.size() - tagSize;
    unsigned char* const out = room(size);
    const bool isFresh = m_context == Context::fresh;
    EVP_CIPHER_CTX* const context = isFresh ? EVP_CIPHER_CTX_new() : m_openSSL->opening;
    EVP_DecryptInit_ex2(context, isFresh ? m_openSSL->algorithm : nullptr,
                        isFresh ? m_key.data() : nullptr, nonce.data(), nullptr);
    int written = 0;
    EVP_DecryptUpdate(context, nullptr, &written, bytesOf(associatedData),
                      static_cast<int>(associatedData.size()));
    EVP_DecryptUpdate(context, out, &written, sealed.data(), static_cast<int>(size));
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_AEAD_SET_TAG, tagSize,
                        const_cast<std::uint8_t*>(sealed.last(tagSize).data()));
    const bool fits = EVP_DecryptFinal_ex(context, out + written, &written) == 1;
    if (isFresh)
        EVP_CIPHER_CTX_free(context);
    return fits ? std::string_view(reinterpret_cast<const char*>(out), size) : std::string_view();
}

unsigned char* RawCipher::room(std::size_t size) {
    if (m_output.size() < size)
        m_output.resize(size);
    return m_output.data();
}

} // namespace bench
