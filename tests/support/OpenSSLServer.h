#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "support/Certificates.h"
#include "support/Process.h"
#include "support/RawSocket.h"
#include "support/Until.h"

/// The openssl program as an HTTPS server on a free port of this computer.
class OpenSSLServer {
  public:
    /// @param options more of those of openssl-s_server(1)
    explicit OpenSSLServer(const TLSIdentity& identity,
                           const std::vector<std::string>& options = {})
        : m_process({.program = "/usr/bin/openssl",
                     .arguments = arguments(identity, options),
                     .environment = {},
                     .input = {}}) {
        constexpr std::string_view mark = "ACCEPT 127.0.0.1:";
        const bool isListening = until([&] {
            const std::string said = m_process.output();
            const std::size_t at = said.find(mark);
            const std::size_t end = said.find('\n', at == std::string::npos ? 0 : at);
            if (at == std::string::npos || end == std::string::npos)
                return false;
            m_port = static_cast<std::uint16_t>(std::stoul(said.substr(at + mark.size())));
            return true;
        });
        if (!isListening)
            throw std::runtime_error("openssl s_server: " + m_process.output());
    }

    [[nodiscard]] std::uint16_t port() const { return m_port; }

    /// A connection to it that does not block.
    [[nodiscard]] Descriptor connect() const {
        const auto address = tcp::Address::parse("127.0.0.1", m_port).value();
        Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address.storage),
                      address.size) != 0 ||
            ::fcntl(socket.number(), F_SETFL, O_NONBLOCK) != 0)
            throw std::system_error(errno, std::system_category(), "openssl s_server");
        return socket;
    }

  private:
    static std::vector<std::string> arguments(const TLSIdentity& identity,
                                              const std::vector<std::string>& options) {
        std::vector<std::string> all{
            "openssl", "s_server",           "-accept", "127.0.0.1:0", "-www",
            "-cert",   identity.certificate, "-key",    identity.key};
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }

    Process m_process;
    std::uint16_t m_port = 0;
};
