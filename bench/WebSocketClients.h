#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "core/Descriptor.h"

namespace bench {

/// Any number of WebSocket clients (RFC 6455) of one server, in this thread. They send text frames
/// and read as fast as these come; a ping is not answered.
class WebSocketClients {
  public:
    struct Message {
        std::size_t client;
        std::string text;
    };

    explicit WebSocketClients(std::uint16_t port);

    /// Connects one more and gives its number, from 0 on.
    /// @param header further lines of the handshake, each with its line end
    /// @throws std::runtime_error when the server does not answer with 101
    std::size_t connect(std::string_view target, std::string_view header = {});
    /// Blocks until the system has taken all of it.
    void send(std::size_t client, std::string_view text);
    /// The next text that has come, to whomever.
    /// @throws std::runtime_error after 30 seconds, or when a server ends a connection
    [[nodiscard]] Message next();
    /// Takes texts until one begins so.
    Message awaitBeginning(std::string_view beginning);

  private:
    struct Client {
        Descriptor socket;
        std::string unread;
    };

    void wait();
    void takeFrames(std::size_t client);

    const std::uint16_t m_port;
    Descriptor m_set;
    std::vector<Client> m_clients;
    std::deque<Message> m_messages;
};

} // namespace bench
