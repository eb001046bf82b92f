#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "hook/Endpoint.h"

namespace hook {

/// The head of the one request: POST /hook.
/// @param commandLine the agent's, sent as Base64; without one the header is left out
/// @param client a name to send as it is; left out when it is empty or has control characters
[[nodiscard]] std::string requestHead(const Endpoint& to, std::size_t bodyLength,
                                      std::string_view commandLine, std::string_view client);

/// Collects one HTTP/1.1 reply (RFC 9112) in whatever pieces it comes.
///
/// Only a 200 with a content-length counts, since without one a reply that broke off could not be
/// told from a complete one.
class ReplyReader {
  public:
    enum class Progress { incomplete, complete, refused };

    /// The daemon's largest reply is an agent's own input with a few words added.
    static constexpr std::size_t maximumBody = std::size_t{96} << 20;
    /// The daemon's head has less than 200 bytes.
    static constexpr std::size_t maximumHead = std::size_t{64} << 10;

    [[nodiscard]] Progress add(std::string_view piece);
    /// Once complete.
    [[nodiscard]] std::string_view body() const;

  private:
    [[nodiscard]] bool readHead(std::string_view head);

    std::string m_received;
    std::size_t m_bodyAt = 0; ///< 0 until the head is there
    std::size_t m_bodyLength = 0;
};

} // namespace hook
