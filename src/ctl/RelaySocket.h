#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/Descriptor.h"
#include "crypto/TLSConnection.h"
#include "ctl/RelayUnreachable.h"

namespace ctl {

/// A connection to a relay, over TLS or as it is, whichever its URL says, for a program that waits
/// for it: every call blocks, and none longer than its deadline.
class RelaySocket {
  public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// Looks up the name, connects and does the handshake. No step takes longer than five seconds,
    /// but for three seconds for each further address of the name.
    /// @param trustedFile see `TLSConnection`
    /// @throws RelayUnreachable
    RelaySocket(RelayAddress address, std::string trustedFile);

    /// All of it. @throws RelayUnreachable
    void send(std::string_view bytes, Deadline deadline);
    /// The next bytes, put into `buffer`: none when the peer has ended the connection.
    /// @throws RelayUnreachable
    [[nodiscard]] std::string_view receive(std::span<char> buffer, Deadline deadline);

  private:
    template <typename Call>
    auto overTLS(Call call) const;
    void waitAfterError(short events, Deadline deadline) const;

    RelayAddress m_address;
    std::string m_trustedFile;
    Descriptor m_socket;
    std::optional<TLSConnection> m_tls;
};

} // namespace ctl
