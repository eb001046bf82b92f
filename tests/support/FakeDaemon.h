#pragma once

#include <array>
#include <cerrno>
#include <string>
#include <system_error>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/Descriptor.h"
#include "platform/Endpoint.h"
#include "support/TemporaryDirectory.h"

inline const Endpoint loopback4{.address = {127, 0, 0, 1}};

/// The value of a header; empty when it is not there.
inline std::string headerOf(const std::string& message, const std::string& name) {
    const std::size_t line = message.find("\r\n" + name + ": ");
    const std::size_t at = line + name.size() + 4;
    return line == std::string::npos ? "" : message.substr(at, message.find("\r\n", at) - at);
}

/// The reply that the daemon would give.
inline std::string okReply(const std::string& body) {
    return "HTTP/1.1 200 OK\r\ncontent-length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// What the other end asks; what came so far when it ends early or is silent for 10 s.
inline std::string requestOf(const Descriptor& connection) {
    std::string text;
    std::array<char, 65536> piece{};
    for (std::size_t size = std::string::npos; text.size() < size;) {
        const ssize_t count = ::recv(connection.number(), piece.data(), piece.size(), 0);
        if (count <= 0)
            break;
        text.append(piece.data(), static_cast<std::size_t>(count));
        const std::size_t end = text.find("\r\n\r\n");
        const std::string length = headerOf(text, "content-length");
        if (size == std::string::npos && end != std::string::npos)
            size = end + 4 + (length.empty() ? 0 : std::stoul(length));
    }
    return text;
}

inline void send(const Descriptor& connection, std::string_view bytes) {
    (void)!::send(connection.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

/// A listener on a free port that does only what the test tells it to, and a home whose hooks go
/// there. Its sockets can be those of another user: they are whose this process is for a moment.
class FakeDaemon {
  public:
    explicit FakeDaemon(const Endpoint& at = loopback4, int backlog = 16, uid_t owner = ::getuid())
        : m_owner(owner),
          m_socket(owned([&] { return ::socket(at.family, SOCK_STREAM | SOCK_CLOEXEC, 0); })) {
        const timeval limit{.tv_sec = 10, .tv_usec = 0}; // Accepted sockets inherit it.
        ::setsockopt(m_socket.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        sockaddr_storage name{};
        const socklen_t length = at.writeTo(name);
        if (::bind(m_socket.number(), reinterpret_cast<const sockaddr*>(&name), length) != 0 ||
            ::listen(m_socket.number(), backlog) != 0)
            throw std::system_error(errno, std::generic_category(), "fake daemon");
        home.put("config.json", R"({"port":)" + std::to_string(port()) + "}");
    }

    [[nodiscard]] static Endpoint ownEnd(const Descriptor& socket) {
        sockaddr_storage name{};
        socklen_t length = sizeof name;
        ::getsockname(socket.number(), reinterpret_cast<sockaddr*>(&name), &length);
        return Endpoint::from(name);
    }

    [[nodiscard]] std::uint16_t port() const { return ownEnd(m_socket).port; }

    /// The next caller's connection, waited for up to 10 s; without one it gives nothing.
    [[nodiscard]] Descriptor accept() const {
        return owned([&] { return ::accept4(m_socket.number(), nullptr, nullptr, SOCK_CLOEXEC); });
    }

    /// What the next caller asks, who gets this reply and the end of the connection.
    std::string answer(std::string_view reply) const {
        const Descriptor connection = accept();
        std::string request = requestOf(connection);
        send(connection, reply);
        return request;
    }

    /// A socket that is connected here, or tried to be for 0.2 s.
    [[nodiscard]] Descriptor call(Endpoint to = loopback4) const {
        to.port = port();
        Descriptor socket(::socket(to.family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const timeval limit{.tv_sec = 0, .tv_usec = 200'000};
        ::setsockopt(socket.number(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        sockaddr_storage name{};
        const socklen_t length = to.writeTo(name);
        (void)::connect(socket.number(), reinterpret_cast<const sockaddr*>(&name), length);
        return socket;
    }

    const TemporaryDirectory home;

  private:
    template <typename Make>
    [[nodiscard]] Descriptor owned(Make make) const {
        // Changing it would send a signal to all threads, which ends their waiting.
        if (m_owner == ::geteuid())
            return Descriptor(make());
        EXPECT_EQ(::seteuid(m_owner), 0);
        Descriptor socket(make());
        EXPECT_EQ(::seteuid(::getuid()), 0);
        return socket;
    }

    uid_t m_owner;
    Descriptor m_socket;
};
