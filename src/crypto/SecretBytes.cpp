#include "crypto/SecretBytes.h"

#include <openssl/crypto.h>

void scrub(std::span<std::uint8_t> bytes) {
    OPENSSL_cleanse(bytes.data(), bytes.size());
}
