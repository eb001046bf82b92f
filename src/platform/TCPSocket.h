#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

#include <sys/socket.h>

#include "core/Descriptor.h"

/// TCP sockets that never block and that child processes don't inherit.
namespace tcp {

/// Where a socket listens, or who its peer is.
struct Address {
    sockaddr_storage storage{};
    socklen_t size = 0;

    /// An IPv4 or IPv6 address in its usual text form; nothing for anything else. No name is ever
    /// looked up.
    [[nodiscard]] static std::optional<Address> parse(std::string_view literal, std::uint16_t port);
    /// 127.0.0.0/8, ::1, and the former as an IPv4-mapped IPv6 address (RFC 4291 section 2.5.5).
    [[nodiscard]] bool isLoopback() const;
    [[nodiscard]] std::uint16_t port() const;
};

/// A listening socket. An unspecified IPv6 address takes IPv4 peers as well.
/// @throws std::system_error
[[nodiscard]] Descriptor listenOn(const Address& address);

/// The address that a socket is bound to.
/// @throws std::system_error
[[nodiscard]] Address localAddress(const Descriptor& socket);

struct Accepted {
    Descriptor socket;
    Address peer;
};

/// The next waiting connection, without the delay of small writes. Nothing, and `error` set, when
/// there is none (`std::errc::operation_would_block`) or the system refuses.
[[nodiscard]] std::optional<Accepted> accept(const Descriptor& listener, std::error_code& error);

} // namespace tcp
