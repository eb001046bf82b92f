#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

/// What a phone learns from the QR code: where the relay is, and a secret that lets it pair once.
/// The secret is a plain value: it is made to be shown, and worthless after ten minutes.
struct Invite {
    std::string relayURL;
    std::string channel;
    std::array<std::uint8_t, 32> secret{};
    std::array<std::uint8_t, 32> macKey{}; ///< this computer's X25519 public key

    /// The pairing link. Everything but the relay's address is behind "#", so no server sees it.
    [[nodiscard]] std::string link() const;

    bool operator==(const Invite&) const = default;
};

/// An invite together with the moment at which it ends.
struct LiveInvite {
    Invite invite;
    std::chrono::system_clock::time_point expires;

    bool operator==(const LiveInvite&) const = default;
};
