#pragma once

#include <array>
#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>

#include "core/Descriptor.h"
#include "platform/TCPSocket.h"

/// A TCP connection that does nothing by itself and never blocks once it is connected.
class RawSocket {
  public:
    /// @param receiveBuffer the size of the system's buffer, 0 for its usual one
    explicit RawSocket(std::uint16_t port, std::string_view host = "127.0.0.1",
                       int receiveBuffer = 0, std::string_view from = "") {
        const auto address = tcp::Address::parse(host, port).value();
        m_socket = Descriptor(::socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (receiveBuffer > 0) {
            check(setsockopt(m_socket.number(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer,
                             sizeof receiveBuffer));
        }
        if (!from.empty()) {
            const auto source = tcp::Address::parse(from, 0).value();
            check(bind(m_socket.number(), reinterpret_cast<const sockaddr*>(&source.storage),
                       source.size));
        }
        check(connect(m_socket.number(), reinterpret_cast<const sockaddr*>(&address.storage),
                      address.size));
        check(fcntl(m_socket.number(), F_SETFL, O_NONBLOCK));
    }

    /// A connection that was accepted.
    explicit RawSocket(Descriptor accepted) : m_socket(std::move(accepted)) {
        check(fcntl(m_socket.number(), F_SETFL, O_NONBLOCK));
    }

    /// How many of the bytes the system took.
    std::size_t send(std::string_view bytes) {
        const ssize_t count = ::send(m_socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }

    void finishSending() { shutdown(m_socket.number(), SHUT_WR); }

    void close() { m_socket.reset(); }

    /// Closes so that the peer sees an error instead of an end.
    void resetConnection() {
        const linger abort{1, 0};
        setsockopt(m_socket.number(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
        m_socket.reset();
    }

    /// Takes what has arrived, at most `limit` bytes, and returns everything taken so far.
    const std::string& receive(std::size_t limit = std::string::npos) {
        std::array<char, 65'536> buffer{};
        while (limit > 0 && !m_hasEnded) {
            const ssize_t count =
                recv(m_socket.number(), buffer.data(), std::min(limit, buffer.size()), 0);
            if (count < 0) {
                m_isReset = m_isReset || errno == ECONNRESET;
                m_hasEnded = m_isReset;
                break;
            }
            m_hasEnded = count == 0;
            m_received.append(buffer.data(), static_cast<std::size_t>(count));
            limit -= static_cast<std::size_t>(count);
        }
        return m_received;
    }

    /// Whether the peer has ended its side, found out by receiving.
    bool hasEnded() {
        receive();
        return m_hasEnded;
    }

    [[nodiscard]] bool isReset() const { return m_isReset; }

  private:
    static void check(int result) {
        if (result != 0)
            throw std::system_error(errno, std::system_category(), "client socket");
    }

    Descriptor m_socket;
    std::string m_received;
    bool m_hasEnded = false;
    bool m_isReset = false;
};
