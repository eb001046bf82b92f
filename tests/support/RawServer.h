#pragma once

#include <cstdint>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/TCPSocket.h"
#include "support/RawSocket.h"

/// A listening TCP socket on loopback that accepts only when it is told to.
class RawServer {
  public:
    [[nodiscard]] std::uint16_t port() const { return tcp::localAddress(m_socket).port(); }

    /// Nothing when no one has connected.
    [[nodiscard]] std::optional<RawSocket> accept() const {
        std::error_code error;
        auto accepted = tcp::accept(m_socket, error);
        if (!accepted)
            return std::nullopt;
        return RawSocket(std::move(accepted->socket));
    }

  private:
    Descriptor m_socket = tcp::listenOn(tcp::Address::parse("127.0.0.1", 0).value());
};
