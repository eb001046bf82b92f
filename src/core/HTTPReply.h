#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Collects one HTTP/1.1 reply of the daemon (RFC 9112) in whatever pieces it comes.
///
/// A body without a content-length is endless: it is that of an event stream, and a reply that
/// broke off could not be told from a complete one.
class HTTPReplyReader {
  public:
    enum class Progress {
        incomplete,
        complete, ///< all of a body with a content-length is there
        endless,  ///< the head is there and promises no end; `body` grows from now on
        refused   ///< no such reply, or too large
    };

    /// The daemon's largest reply is an agent's own input with a few words added.
    static constexpr std::size_t maximumBody = std::size_t{96} << 20;
    /// The daemon's head has less than 200 bytes.
    static constexpr std::size_t maximumHead = std::size_t{64} << 10;

    [[nodiscard]] Progress add(std::string_view piece);
    /// The status code; 0 while the head is not there.
    [[nodiscard]] int status() const { return m_status; }
    /// What has come of the body.
    [[nodiscard]] std::string_view body() const;
    /// Forgets so many bytes at the start of an endless body.
    void dropFromBody(std::size_t count);

  private:
    [[nodiscard]] bool readHead(std::string_view head);

    std::string m_received;
    int m_status = 0;
    bool m_isEndless = false;
    std::size_t m_bodyAt = 0; ///< 0 until the head is there
    std::size_t m_bodyLength = 0;
};
