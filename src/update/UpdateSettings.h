#pragma once

#include <optional>
#include <string>

#include "crypto/Ed25519.h"

/// What a build says of its updates.
struct UpdateSettings {
    /// The key that the releases are signed with: the standard Base64 of an Ed25519 public key.
    /// Empty: there are no updates.
    std::string publicKey;
    std::string feedURL; ///< of the appcast; empty: none

    /// The values TAMSELL_UPDATE_KEY and TAMSELL_FEED_URL, chosen at configure time.
    [[nodiscard]] static UpdateSettings configured();

    /// Nothing when the text is not that of a key.
    [[nodiscard]] std::optional<ed25519::PublicKey> key() const;
};
