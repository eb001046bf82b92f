#include "platform/TCPSocket.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

namespace tcp {

namespace {

constexpr int acceptQueueLength = 4096; // The system cuts it down to what it allows.

std::system_error lastError(const char* what) {
    return {errno, std::system_category(), what};
}

void setOption(const Descriptor& socket, int level, int option, int value) {
    if (::setsockopt(socket.number(), level, option, &value, sizeof value) != 0)
        throw lastError("setsockopt");
}

// The bytes of an address are copied out and in, because sockaddr_storage may not be accessed as
// another type.
template <typename Family>
Family as(const sockaddr_storage& storage) {
    Family address{};
    std::memcpy(&address, &storage, sizeof address);
    return address;
}

template <typename Family>
Address from(const Family& family) {
    Address address;
    std::memcpy(&address.storage, &family, sizeof family);
    address.size = sizeof family;
    return address;
}

bool isIPv4Loopback(std::uint8_t firstByte) {
    return firstByte == 127;
}

} // namespace

std::optional<Address> Address::parse(std::string_view literal, std::uint16_t port) {
    const std::string text(literal);
    if (text.find('\0') != std::string::npos)
        return std::nullopt;
    sockaddr_in v4{};
    if (::inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        return from(v4);
    }
    sockaddr_in6 v6{};
    if (::inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1) {
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        return from(v6);
    }
    return std::nullopt;
}

bool Address::isLoopback() const {
    if (storage.ss_family == AF_INET) {
        const auto v4 = as<sockaddr_in>(storage);
        return isIPv4Loopback(static_cast<std::uint8_t>(ntohl(v4.sin_addr.s_addr) >> 24U));
    }
    if (storage.ss_family == AF_INET6) {
        const in6_addr v6 = as<sockaddr_in6>(storage).sin6_addr;
        return std::memcmp(&v6, &in6addr_loopback, sizeof v6) == 0 ||
               (IN6_IS_ADDR_V4MAPPED(&v6) && isIPv4Loopback(v6.s6_addr[12]));
    }
    return false;
}

std::uint16_t Address::port() const {
    if (storage.ss_family == AF_INET)
        return ntohs(as<sockaddr_in>(storage).sin_port);
    return storage.ss_family == AF_INET6 ? ntohs(as<sockaddr_in6>(storage).sin6_port)
                                         : std::uint16_t{0};
}

Descriptor listenOn(const Address& address) {
    Descriptor listener(::socket(address.storage.ss_family,
                                 SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    if (!listener.isValid())
        throw lastError("socket");
    // Connections of an earlier run that still fade out don't hold the port.
    setOption(listener, SOL_SOCKET, SO_REUSEADDR, 1);
    if (address.storage.ss_family == AF_INET6)
        setOption(listener, IPPROTO_IPV6, IPV6_V6ONLY, 0);
    const auto* const name = reinterpret_cast<const sockaddr*>(&address.storage);
    if (::bind(listener.number(), name, address.size) != 0)
        throw lastError("bind");
    if (::listen(listener.number(), acceptQueueLength) != 0)
        throw lastError("listen");
    return listener;
}

Address localAddress(const Descriptor& socket) {
    Address address;
    address.size = sizeof address.storage;
    if (::getsockname(socket.number(), reinterpret_cast<sockaddr*>(&address.storage),
                      &address.size) != 0)
        throw lastError("getsockname");
    return address;
}

std::optional<Accepted> accept(const Descriptor& listener, std::error_code& error) {
    Accepted accepted;
    accepted.peer.size = sizeof accepted.peer.storage;
    accepted.socket =
        Descriptor(::accept4(listener.number(), reinterpret_cast<sockaddr*>(&accepted.peer.storage),
                             &accepted.peer.size, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!accepted.socket.isValid()) {
        error = {errno, std::system_category()};
        return std::nullopt;
    }
    error.clear();
    // A peer that is gone already refuses options; reading from it will tell.
    const int on = 1;
    ::setsockopt(accepted.socket.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return accepted;
}

} // namespace tcp
