#pragma once

#include <sys/types.h>

#include "platform/Endpoint.h"

/// Which user of this machine owns the other end of a connection.
struct PeerOwner {
    enum class Knowledge {
        known,   ///< `user` it is
        nobody,  ///< nobody on this machine has such an end
        unknown, ///< it could not be asked now
        refused  ///< the system does not answer such questions here
    };
    Knowledge knowledge = Knowledge::refused;
    uid_t user = 0;

    /// Whether a word may be said to that end when only this user may hear it. Where the system
    /// refuses to tell, it may: a sandbox without the query must not cut the agent off.
    [[nodiscard]] bool mayBe(uid_t expected) const {
        return knowledge == Knowledge::refused ||
               (knowledge == Knowledge::known && user == expected);
    }
};

/// Asks the kernel (sock_diag) about the exact pair of addresses of a connection. While nobody has
/// accepted it there, its end belongs to whoever owns the listening socket.
///
/// Any account of the machine can bind the port before the daemon does, and an event holds
/// prompts and commands: so this comes before the first byte.
[[nodiscard]] PeerOwner peerOwner(const Endpoint& own, const Endpoint& peer);

/// That of a connected TCP socket; unknown when its ends are not, or no longer.
[[nodiscard]] PeerOwner peerOwner(int socket);
