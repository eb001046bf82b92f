#pragma once

#include <array>
#include <memory>

#include <boost/asio/steady_timer.hpp>

#include "relayd/SendQueue.h"
#include "relayd/Services.h"

/// A message that a phone posts, and the answer to that: for some seconds every frame for the
/// phone, a line each (application/x-ndjson), as it comes. The phone hangs up when it has heard
/// enough.
class MessageRequest final : public Listener,
                             public Session,
                             public std::enable_shared_from_this<MessageRequest> {
  public:
    using Socket = boost::asio::ip::tcp::socket;

    MessageRequest(Socket socket, Services& services, Credentials credentials,
                   ConnectionCount count);
    ~MessageRequest() override;

    /// It keeps itself alive from here on.
    /// @param frame what the phone says
    /// @param version of HTTP, 11 for 1.1
    void start(const std::string& frame, unsigned version);

    void send(Frame frame) override;
    void close(CloseCode code) override;
    void drain() override { close(CloseCode::goingAway); }
    void vanish() override { end(); }

  private:
    void write();
    void watch();
    void finish();
    void end();
    [[nodiscard]] std::string chunk(std::string_view content) const;

    Socket m_socket;
    Services& m_services;
    const Credentials m_credentials;
    const ConnectionCount m_count;
    SendQueue m_queue;
    boost::asio::steady_timer m_timer;
    std::unique_ptr<Place> m_place;
    std::array<char, 1> m_unexpected{};
    bool m_isChunked = true;
    bool m_isClosing = false;
};
