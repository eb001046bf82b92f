#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/socket.h>

/// One end of a TCP connection.
struct Endpoint {
    sa_family_t family = AF_INET; ///< or AF_INET6
    /// In network order; an IPv4 address is the first four bytes.
    std::array<std::uint8_t, 16> address{};
    std::uint16_t port = 0;

    /// Fills in what the socket calls take, and gives its length.
    socklen_t writeTo(sockaddr_storage& out) const;
    [[nodiscard]] static Endpoint from(const sockaddr_storage& address);
    /// As it stands in a URL (RFC 3986): "127.0.0.1:8787", "[::1]:8787".
    [[nodiscard]] std::string authority() const;

    bool operator==(const Endpoint&) const = default;
};

/// Where to look, in this order, for a daemon that listens on what the configuration says.
///
/// Literal addresses only, with the daemon's "localhost" and its "every address" read as the
/// loopback ones: any other name would need a resolver and is nowhere. So is a port that, cut to a
/// whole number, is none.
[[nodiscard]] std::vector<Endpoint> loopbackCandidates(const std::string& host, double port);
