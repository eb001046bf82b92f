#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "hook/File.h"

/// One accepted connection of a `TestServer`.
class TestConnection {
  public:
    explicit TestConnection(int socket) : m_socket(socket) {}

    /// Head and body of the request; what came so far when the peer ends early or after 10 s.
    [[nodiscard]] std::string readRequest();
    void send(std::string_view bytes);
    /// Whether the peer closes within that time.
    [[nodiscard]] bool sawTheEnd(std::chrono::milliseconds within);

  private:
    hook::Descriptor m_socket;
};

/// A listener on a free port that does only what the test tells it to.
class TestServer {
  public:
    explicit TestServer(const std::string& address = "127.0.0.1", int backlog = 16);

    [[nodiscard]] std::uint16_t port() const { return m_port; }
    [[nodiscard]] int socket() const { return m_socket.number(); }
    /// Waits up to 10 s; without a connection the connection's calls come to nothing.
    [[nodiscard]] TestConnection accept() const;
    /// Whether somebody has connected who has not been accepted.
    [[nodiscard]] bool hasCaller() const;

  private:
    hook::Descriptor m_socket;
    std::uint16_t m_port = 0;
};

/// The reply that the daemon would give.
[[nodiscard]] std::string okReply(std::string_view body);
/// The value of a header, named with its ": "; "(none)" when it is not there.
[[nodiscard]] std::string headerOf(std::string_view request, std::string_view name);
