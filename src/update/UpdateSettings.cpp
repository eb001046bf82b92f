#include "update/UpdateSettings.h"

#include <algorithm>

#include "core/Base64.h"

UpdateSettings UpdateSettings::configured() {
    return {.publicKey = TAMSELL_UPDATE_KEY, .feedURL = TAMSELL_FEED_URL};
}

std::optional<ed25519::PublicKey> UpdateSettings::key() const {
    const auto bytes = base64::decode(publicKey);
    ed25519::PublicKey key;
    if (!bytes || bytes->size() != key.size())
        return std::nullopt;
    std::ranges::copy(*bytes, key.begin());
    return key;
}
