#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// A WebSocket client (RFC 6455) by Boost.Beast with a thread of its own.
class PhoneSocket {
  public:
    enum class State { connecting, open, ended };

    /// Called on the socket's thread, never after its destructor has returned.
    struct Events {
        std::function<void(std::string text)> received;
        std::function<void()> stateChanged;
    };

    /// Connects to the host of the URL: over TLS for "https" and "wss".
    /// @param target path and query
    /// @param authorities a PEM file of the certificates that a TLS server's must be signed by
    /// @throws std::exception when the URL or the host's name leads nowhere
    PhoneSocket(std::string_view url, std::string target, const std::string& authorities,
                Events events);
    /// Hangs up.
    ~PhoneSocket();
    PhoneSocket(const PhoneSocket&) = delete;
    PhoneSocket& operator=(const PhoneSocket&) = delete;

    [[nodiscard]] State state() const;
    /// Why it ended, and with "HTTP 401" in it when the server refused with that.
    [[nodiscard]] std::string failure() const;

    /// A text frame, behind those before it. Lost when the connection is not open.
    void send(std::string text);
    /// Says goodbye; `ended` follows.
    void close();

  private:
    class Session;
    template <typename Stream>
    class SessionOver;

    std::unique_ptr<Session> m_session;
};
