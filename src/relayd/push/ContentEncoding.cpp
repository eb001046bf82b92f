#include "relayd/push/ContentEncoding.h"

#include <stdexcept>

#include "crypto/AESGCM.h"
#include "crypto/Hash.h"

namespace contentencoding {

namespace {

using namespace std::string_view_literals;

// The zero byte is part of both (RFC 8188 sections 2.2 and 2.3).
constexpr std::string_view keyInfo = "Content-Encoding: aes128gcm\0"sv;
constexpr std::string_view nonceInfo = "Content-Encoding: nonce\0"sv;
constexpr char lastRecord = 2;

std::string header(const Salt& salt, std::string_view keyID) {
    std::string bytes(salt.begin(), salt.end());
    for (const int shift : {24, 16, 8, 0})
        bytes += static_cast<char>((recordSize >> shift) & 0xFF);
    bytes += static_cast<char>(keyID.size());
    return bytes.append(keyID);
}

} // namespace

std::string encode(std::span<const std::uint8_t> keyMaterial, const Salt& salt,
                   std::string_view keyID, std::string_view content, std::size_t padding) {
    constexpr std::size_t room = recordSize - recordOverhead;
    if (content.size() > room || padding > room - content.size())
        throw std::length_error("the content does not fit into one record");
    if (keyID.size() > 255)
        throw std::length_error("the key's identifier is too long");
    aesgcm::Key128 key;
    hash::hkdf(keyMaterial, salt, keyInfo, key.writable());
    // The first record's number is 0, so its nonce is as it was derived.
    std::array<std::uint8_t, aesgcm::nonceSize> nonce{};
    hash::hkdf(keyMaterial, salt, nonceInfo, nonce);
    std::string record(content);
    record += lastRecord;
    record.append(padding, '\0');
    const auto sealed = aesgcm::seal(key, nonce, {}, record);
    return header(salt, keyID).append(sealed.begin(), sealed.end());
}

} // namespace contentencoding
