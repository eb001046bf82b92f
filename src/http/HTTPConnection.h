#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "core/Descriptor.h"
#include "http/HTTPRequest.h"
#include "http/HTTPRequestParser.h"
#include "http/SendQueue.h"

class SocketPoller;

/// One accepted connection: it brings one request, and takes one response or one event stream.
///
/// Lifetime: the server keeps a connection while it is open; whoever wants to answer later keeps a
/// `std::shared_ptr` to it. That is always safe: once the connection has closed, for whatever
/// reason and even when the server is gone, every operation does nothing. Its identity is the
/// object's own (`get()` of any of its pointers), which stays unique as long as a pointer to it is
/// kept.
///
/// Everything happens on the main thread. Close handlers run from the event loop or from within
/// `close()` and `HTTPServer::stop()`, never from within `respond`, `send` and their like. They may
/// close or destroy anything, this connection and the server included.
class HTTPConnection final : public std::enable_shared_from_this<HTTPConnection> {
  public:
    /// What a connection needs of the server that accepted it.
    class Owner {
      public:
        virtual SocketPoller& poller() = 0;
        /// Room for one read, used up before anything else runs.
        virtual std::span<char> readBuffer() = 0;
        virtual void handle(HTTPRequest request, std::shared_ptr<HTTPConnection> connection) = 0;
        /// Asks for one call of `settle` from the event loop.
        virtual void settleSoon(std::shared_ptr<HTTPConnection> connection) = 0;
        /// The connection is closed for the program; its socket is still drained until the
        /// deadline.
        virtual void drains(HTTPConnection& connection) = 0;
        /// The socket is closed; the connection won't call again.
        virtual void ended(HTTPConnection& connection) = 0;

      protected:
        ~Owner() = default;
    };

    /// After the last byte of a response, input is read and thrown away until the peer has ended
    /// its side too, at most for this long and this much: closing a socket with unread input would
    /// reset the connection and cut off what the peer has not read yet.
    static constexpr std::chrono::milliseconds drainTime{2000};
    static constexpr std::size_t drainBytes = 1024 * 1024;

    /// For the server. The owner outlives the socket.
    HTTPConnection(Owner& owner, Descriptor socket, bool isLocal);
    HTTPConnection(const HTTPConnection&) = delete;
    HTTPConnection& operator=(const HTTPConnection&) = delete;
    ~HTTPConnection();

    /// Writes one complete response; the connection closes once its last byte is handed over, at
    /// the earliest when control is back in the event loop. Does nothing when the connection is
    /// closed or a response or an event stream was begun before.
    void respond(int status, std::string body, std::string_view contentType);
    /// The same with the compact text of a value as "application/json"; "{}" when it has none.
    void respondJSON(int status, const JSONValue& value);

    /// Writes the head of an event stream (`text/event-stream`) and leaves the connection open.
    /// Does nothing when the connection is closed or something was begun before.
    void startEventStream();
    /// Writes bytes of an event stream. Dropped when `SendQueue::limit` would be exceeded.
    void send(std::string_view text);
    /// Writes one record that tells the whole state. The text is shared, not copied. A slow peer is
    /// never closed: beyond `SendQueue::limit` unsent bytes the records that it has not begun to
    /// get give way to the newest one, and it always gets whole records.
    void sendState(std::shared_ptr<const std::string> record);
    /// Writes bytes that only show that the connection lives; nothing when other bytes still wait
    /// for the peer, so that they don't pile up on a stalled one.
    void keepAlive(std::string_view text);

    /// Whether the other end may belong to this user of the computer; no, when the system knows
    /// better, and when the connection is closed.
    [[nodiscard]] bool mayBelongTo(uid_t user) const;

    /// False once the connection is closed. Still true directly after `respond`.
    [[nodiscard]] bool isOpen() const { return m_phase < Phase::draining; }
    /// Closes at once, with what is unsent, and runs the close handlers. A second call does
    /// nothing.
    void close();
    /// `handler` runs once when the connection closes for any reason, after those added before it.
    /// On a closed connection it is dropped: ask `isOpen` first.
    void addCloseHandler(std::function<void()> handler);

    /// For the server: starts to read.
    /// @throws std::system_error when the poller has no room; the connection is closed then
    void begin();
    /// For the server: closes the connection if its response is written or its socket is broken.
    void settle();
    /// For the server: ends the draining.
    void endDraining();
    /// When the draining ends at the latest.
    [[nodiscard]] std::chrono::steady_clock::time_point drainDeadline() const {
        return m_drainDeadline;
    }

  private:
    // In the order in which a connection passes through them.
    enum class Phase { reading, held, responding, streaming, draining, closed };

    void ready(std::uint32_t readiness);
    void read();
    void received(std::string_view bytes);
    void peerFinished();
    void giveUp();

    void write(Phase next, std::string head, std::string body);
    void flush();
    void updateInterest();
    [[nodiscard]] bool isWritten() const {
        return m_phase == Phase::responding && m_queue.isEmpty();
    }
    void settleSoon();
    void drain();
    void runCloseHandlers();
    void releaseSocket();

    Owner* m_owner; // Null once the socket is closed.
    Descriptor m_socket;
    std::unique_ptr<HTTPRequestParser> m_parser; // Only while reading.
    SendQueue m_queue;
    std::vector<std::function<void()>> m_closeHandlers;
    std::chrono::steady_clock::time_point m_drainDeadline;
    std::size_t m_drainedBytes = 0;
    std::uint32_t m_interest = 0;
    Phase m_phase = Phase::reading;
    bool m_isLocal;
    bool m_isHandling = false;      // Within the server's handler for this connection's request.
    bool m_isBroken = false;        // A write failed.
    bool m_peerHasFinished = false; // No more input will come.
};
