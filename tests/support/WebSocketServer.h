#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "support/Certificates.h"

/// A WebSocket server on loopback, over Boost.Beast, in a thread of its own. Everything about its
/// connections happens in that thread.
class WebSocketServer {
  public:
    /// One open connection. Used in the server's thread only.
    class Connection {
      public:
        Connection() = default;
        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;
        virtual ~Connection() = default;

        virtual void send(std::string text) = 0;
        /// With a closing frame, behind what was sent.
        virtual void close(std::uint16_t code) = 0;
        /// Ends the TCP connection without a word.
        virtual void vanish() = 0;
        /// Reads on or stops reading; at most 64 KiB more are read.
        virtual void setReading(bool isReading) = 0;
    };
    using ConnectionPointer = std::shared_ptr<Connection>;

    /// Called in the server's thread.
    struct Handlers {
        /// The HTTP status for a handshake with this target; 101 lets it in.
        std::function<unsigned(const std::string& target)> admit;
        std::function<void(const ConnectionPointer&, const std::string& target)> opened;
        std::function<void(const ConnectionPointer&, const std::string& text)> text;
        /// @param code that of the peer's closing frame, 0 without one
        std::function<void(const ConnectionPointer&, std::uint16_t code)> closed;
    };

    /// Listens at once, on a free port.
    WebSocketServer(Handlers handlers, const std::optional<TLSIdentity>& tls);
    ~WebSocketServer();

    [[nodiscard]] std::uint16_t port() const;
    /// Closes the port and lets all connections vanish, `closed` included.
    void stop();
    /// Listens on the same port again.
    void start();
    /// Runs the action in the server's thread and waits for its end.
    void run(const std::function<void()>& action) const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};
