#pragma once

#include <memory>

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "relayd/SendQueue.h"
#include "relayd/Services.h"

/// A computer's or a phone's WebSocket (RFC 6455), from an admitted handshake to its end.
class WebSocketSession final : public Listener,
                               public Session,
                               public std::enable_shared_from_this<WebSocketSession> {
  public:
    using Socket = boost::asio::ip::tcp::socket;
    using Request = boost::beast::http::request<boost::beast::http::string_body>;

    WebSocketSession(Socket socket, Services& services, Credentials credentials,
                     ConnectionCount count);
    ~WebSocketSession() override;

    /// Answers the handshake. It keeps itself alive from here on.
    void start(const Request& request);

    void send(Frame frame) override;
    void close(CloseCode code) override;
    void drain() override { close(CloseCode::goingAway); }
    /// For a peer that does not read, which would not hear a word.
    void vanish() override;
    void look(Moment now) override;

  private:
    void opened();
    void read();
    void hasRead(std::size_t count);
    void takeMessage();
    void pauseOrRead();
    void countHeld(std::size_t bytes);
    void write();
    void sayGoodbye();
    void beginToClose();
    void end();
    [[nodiscard]] std::size_t longestFrame() const;

    boost::beast::websocket::stream<Socket, false> m_stream;
    Services& m_services;
    const Credentials m_credentials;
    const ConnectionCount m_count;
    SendQueue m_queue;
    Budget m_budget;
    boost::beast::flat_buffer m_buffer;
    std::unique_ptr<Place> m_place;
    std::unique_ptr<boost::asio::steady_timer> m_timer; // Few connections need it.
    Moment m_since;                                     ///< when it opened; then, began to close
    Moment m_messageSince;
    std::size_t m_discarded = 0;
    std::size_t m_held = 0; ///< of a message that has not ended
    CloseCode m_code = CloseCode::goingAway;
    bool m_isOpen = false;
    bool m_isClosing = false;
};
