#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

struct ssl_st;

/// Why there is no TLS connection, or no more.
class TLSError final : public std::runtime_error {
  public:
    enum class Kind {
        notInTime,
        broken,           ///< the peer went away
        handshake,        ///< it speaks no TLS, or none that both know
        expired,          ///< the certificate, or one above it
        notYetValid,      ///< its time begins later; or this computer's clock is wrong
        wrongName,        ///< the certificate is for others
        selfSigned,       ///< by nobody but itself, and it is not among the trusted
        unknownAuthority, ///< its chain ends at nobody who is trusted
        certificate,      ///< anything else against it
        trustedFile       ///< the file of more authorities holds no certificates
    };

    /// @param message OpenSSL's words or the system's, in English
    TLSError(Kind kind, const std::string& message) : std::runtime_error(message), m_kind(kind) {}

    [[nodiscard]] Kind kind() const { return m_kind; }

  private:
    Kind m_kind;
};

/// The client's end of a TLS connection (1.2 or 1.3, RFC 5246 and RFC 8446) for a program that
/// waits for it: every call blocks, and none longer than its deadline.
///
/// The peer has to show a certificate for the host (RFC 6125) that leads to an authority that the
/// system trusts. Revocation is not checked. The caller ignores SIGPIPE.
class TLSConnection {
  public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// Does the handshake. Nothing but that has been said to a peer that is refused.
    /// @param socket connected and non-blocking; the caller's, who closes it after this is gone
    /// @param host the name or literal address that the certificate has to be for
    /// @param trustedFile PEM file with authorities that are trusted beside the system's, or ""
    /// @throws TLSError; std::runtime_error when OpenSSL fails
    TLSConnection(int socket, const std::string& host, const std::string& trustedFile,
                  Deadline deadline);

    /// All of it. @throws TLSError
    void send(std::string_view bytes, Deadline deadline);
    /// The next bytes, put into `buffer`: none when the peer has ended the connection.
    /// @throws TLSError
    [[nodiscard]] std::string_view receive(std::span<char> buffer, Deadline deadline);

  private:
    struct Release {
        void operator()(ssl_st* connection) const;
    };

    std::unique_ptr<ssl_st, Release> m_connection;
};
