#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "core/JSONValue.h"
#include "crypto/AESGCM.h"
#include "relay/EncodedMessage.h"
#include "relay/ReplayMemory.h"

/// Seals what this computer and one paired phone tell each other, so that whoever carries it sees
/// opaque text, and refuses what was changed, meant for others, sent before or kept back.
///
/// AES-256-GCM with a random nonce of 12 bytes. The associated data is the UTF-8 text
/// "tamsell2|CHANNEL|DEVICE|DIRECTION", so that a message opens only on its channel, for its phone
/// and in its direction.
struct Box {
    enum class Direction {
        macToPhone, ///< "m2p"
        phoneToMac  ///< "p2m"
    };
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    /// A sealed message on the wire.
    struct Sealed {
        std::string n; ///< base64url of the nonce
        std::string c; ///< base64url of the ciphertext and the tag behind it

        bool operator==(const Sealed&) const = default;
    };

    std::string channel;
    std::string device; ///< the phone's id
    aesgcm::Key key;
    Direction sendDirection = Direction::macToPhone;
    Clock now = std::chrono::system_clock::now;
    ReplayMemory seen;

    /// Adds "ts", the current time in whole milliseconds since 1970, and "id", a fresh random one
    /// unless the message has one.
    /// @throws std::runtime_error, std::invalid_argument when it cannot be encoded or sealed
    [[nodiscard]] Sealed seal(const JSONObject& message) const;
    [[nodiscard]] Sealed seal(const EncodedMessage& message) const;

    /// The message, with its "id" and "ts". It is remembered, and only then, so that it opens once.
    /// @throws E2EError, CipherError; std::runtime_error when the plaintext is no JSON or has more
    /// than 4,000 values, and when 100,000 messages are remembered already
    [[nodiscard]] JSONObject open(std::string_view n, std::string_view c);

    /// The longest plaintext whose `c` has at most so many characters.
    [[nodiscard]] static std::size_t longestPlaintext(std::size_t characters);
};
