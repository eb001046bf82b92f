#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <openssl/evp.h>

/// A fresh key for releases; OpenSSL does the work. Everything is raw bytes.
class SigningKey {
  public:
    [[nodiscard]] std::string publicKey() const {
        std::string key(32, '\0');
        std::size_t size = key.size();
        check(EVP_PKEY_get_raw_public_key(m_key.get(), bytes(key), &size));
        return key;
    }

    [[nodiscard]] std::string sign(std::string_view message) const {
        const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(),
                                                                         EVP_MD_CTX_free);
        check(EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, m_key.get()));
        std::string signature(64, '\0');
        std::size_t size = signature.size();
        check(EVP_DigestSign(context.get(), bytes(signature), &size,
                             reinterpret_cast<const unsigned char*>(message.data()),
                             message.size()));
        return signature;
    }

  private:
    static void check(int result) {
        if (result != 1)
            throw std::runtime_error("openssl");
    }
    static unsigned char* bytes(std::string& text) {
        return reinterpret_cast<unsigned char*>(text.data());
    }

    std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> m_key{
        EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"), EVP_PKEY_free};
};
