#pragma once

#include <memory>
#include <optional>

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include "relayd/ClientAddress.h"
#include "relayd/Services.h"

/// A connection that speaks HTTP/1.1 (RFC 9112) until it is a WebSocket, carries a posted message,
/// or ends.
class HTTPSession final : public Session, public std::enable_shared_from_this<HTTPSession> {
  public:
    HTTPSession(boost::asio::ip::tcp::socket socket, Services& services);
    ~HTTPSession() override;

    /// It keeps itself alive from here on.
    void start();

    void drain() override;
    void vanish() override;

  private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
    using Request = Parser::value_type;
    enum class Refusal { badRequest, unauthorized, tooManyRequests, unavailable };

    void readHeader();
    void takeHeader();
    /// Answers a request that could not be read.
    void refuseUnreadable(boost::system::error_code error);
    void admitWebSocket();
    void tellAdmission(const Credentials& credentials);
    void readMessage();
    /// Why the phone may not post now.
    [[nodiscard]] std::optional<Refusal> refusalOf(const Credentials& credentials);
    void carryMessage(const Credentials& credentials);
    /// @param bytes of content that is being read
    void countContent(std::size_t bytes);
    void serveFile();
    /// @param type of the content; "" for none
    void respond(unsigned status, std::string content, std::string_view type);
    void refuse(Refusal refusal);
    /// Whether this address has been refused too often.
    [[nodiscard]] bool isBarred();
    [[nodiscard]] bool mayRegister();
    [[nodiscard]] IPAddress client() const;
    [[nodiscard]] bool isLocal() const;
    /// Reads what nobody wants until the peer hangs up, too.
    void hangUp();
    template <typename Message>
    void write(Message message);

    boost::beast::tcp_stream m_stream;
    Services& m_services;
    std::optional<ConnectionCount> m_count; ///< until another session has it
    IPAddress m_peer;
    boost::beast::flat_buffer m_buffer;
    std::optional<Parser> m_parser;
    std::size_t m_content = 0;  ///< as counted
    std::size_t m_unwanted = 0; ///< bytes that were read away
    bool m_isWaiting = false;   ///< between two requests
    bool m_isLast = false;      ///< whether the connection ends with the next answer
};
