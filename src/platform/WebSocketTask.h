#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

/// One WebSocket connection of a client (RFC 6455), from the handshake to its end.
///
/// All callbacks come from the event loop, never from inside a call of this object. After `failed`,
/// `cancel` or the end of the object none comes any more. An object may be destroyed inside a
/// callback of its own.
class WebSocketTask {
  public:
    /// Why there is no connection, or none any more.
    struct Failure {
        /// The HTTP status of a refused handshake.
        std::optional<int> status;
        std::string reason; ///< for a log line; it carries nothing of the URL's query
    };

    struct Handlers {
        std::function<void()> opened;
        /// A whole text message. Binary messages are ignored.
        std::function<void(const std::string& text)> text;
        /// Once, however the connection ended: refused, closed by the peer, broken, too slow or
        /// silent for too long.
        std::function<void(const Failure& failure)> failed;
    };

    WebSocketTask() = default;
    WebSocketTask(const WebSocketTask&) = delete;
    WebSocketTask& operator=(const WebSocketTask&) = delete;
    virtual ~WebSocketTask() = default;

    /// Begins to connect. Once.
    virtual void resume() = 0;
    /// Queues one text message of valid UTF-8. Before `opened` and after the end it is dropped.
    virtual void send(std::string_view text) = 0;
    /// What was queued and has not gone to the system yet, in bytes of the wire.
    [[nodiscard]] virtual std::size_t unsentBytes() const = 0;
    /// Closes with this code (RFC 6455 section 7.4) and no reason. Waits for nothing.
    virtual void cancel(int closeCode) = 0;
};

/// Makes a task for a URL of the scheme "ws" or "wss".
using WebSocketOpener = std::function<std::unique_ptr<WebSocketTask>(
    const std::string& url, WebSocketTask::Handlers handlers)>;
