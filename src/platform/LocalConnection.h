#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include <sys/types.h>

#include "core/Descriptor.h"
#include "platform/Endpoint.h"

/// A TCP connection to a server of this computer that runs as the expected user. It never blocks
/// longer than the caller's deadlines.
class LocalConnection {
  public:
    using Clock = std::chrono::steady_clock;
    using Deadline = Clock::time_point;
    static constexpr Deadline never = Deadline::max();

    /// Why there is no connection, from the least to the gravest.
    enum class Obstacle {
        none,
        nobodyListens,
        notInTime,
        anotherUser ///< somebody else listens there, who must not hear a word
    };

    /// A connection to the first endpoint whose listener may be the owner's. Before anything is
    /// said, the system is asked whose it is; another user's is skipped.
    /// @param obstacle is set to the gravest one met, or to `none` when there is a connection
    [[nodiscard]] static std::optional<LocalConnection> open(std::span<const Endpoint> candidates,
                                                             uid_t owner, Deadline deadline,
                                                             Obstacle* obstacle = nullptr);

    [[nodiscard]] const Endpoint& peer() const { return m_peer; }
    [[nodiscard]] int descriptor() const { return m_socket.number(); }

    /// What ends a wait before something comes.
    struct Patience {
        Deadline deadline = never;
        /// A pipe or socket whose other end may go away, which ends the wait as well; or -1.
        int watched = -1;
    };

    /// False when the connection broke or the patience was at its end.
    [[nodiscard]] bool send(std::string_view head, std::string_view body, const Patience& patience);
    /// The next bytes, put into `buffer`: empty when the peer has ended. Nothing when the
    /// connection broke or the patience was at its end.
    [[nodiscard]] std::optional<std::string_view> receive(std::span<char> buffer,
                                                          const Patience& patience);

  private:
    LocalConnection(Descriptor socket, const Endpoint& peer)
        : m_socket(std::move(socket)), m_peer(peer) {}

    Descriptor m_socket;
    Endpoint m_peer;
};
