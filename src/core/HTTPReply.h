#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The status line and the header fields of an HTTP/1.x reply (RFC 9112 sections 4 and 5), as views
/// into the text that they were read from.
struct HTTPReplyHead {
    struct Field {
        std::string_view name;
        std::string_view value; ///< without the blanks around it

        /// Names of fields have no case.
        [[nodiscard]] bool isNamed(std::string_view lowerCaseName) const;
    };

    int status = 0; ///< from 100 on
    std::vector<Field> fields;

    /// @param text up to the empty line, without it
    /// @return nothing when it is no head
    [[nodiscard]] static std::optional<HTTPReplyHead> read(std::string_view text);

    /// The value of the first field of that name.
    [[nodiscard]] std::optional<std::string_view> value(std::string_view lowerCaseName) const;
};

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
    [[nodiscard]] bool readHead(std::string_view text);

    std::string m_received;
    int m_status = 0;
    bool m_isEndless = false;
    std::size_t m_bodyAt = 0; ///< 0 until the head is there
    std::size_t m_bodyLength = 0;
};
