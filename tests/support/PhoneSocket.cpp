#include "support/PhoneSocket.h"

#include <chrono>
#include <deque>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::system::error_code;

namespace {

constexpr std::chrono::seconds handshakeDeadline(15);

struct Origin {
    bool isSecure = false;
    std::string host;
    std::string port;

    // As it stands in the Host field.
    [[nodiscard]] std::string authority() const { return host + ":" + port; }
};

Origin originOf(std::string_view url) {
    const std::size_t separator = url.find("://");
    if (separator == std::string_view::npos)
        throw std::invalid_argument("not a URL: " + std::string(url));
    const std::string_view scheme = url.substr(0, separator);
    std::string_view authority = url.substr(separator + 3);
    authority = authority.substr(0, authority.find_first_of("/?#"));
    const std::size_t colon = authority.rfind(':');
    Origin origin{scheme == "https" || scheme == "wss", std::string(authority.substr(0, colon)),
                  ""};
    if (colon != std::string_view::npos)
        origin.port = authority.substr(colon + 1);
    else
        origin.port = origin.isSecure ? "443" : "80";
    return origin;
}

} // namespace

// What both kinds of connection share, and what the test's thread sees of them.
class PhoneSocket::Session {
  public:
    explicit Session(Events events) : m_events(std::move(events)) {}
    virtual ~Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    virtual void send(std::string text) = 0;
    virtual void close() = 0;

    [[nodiscard]] State state() const {
        const std::lock_guard lock(m_mutex);
        return m_state;
    }
    [[nodiscard]] std::string failure() const {
        const std::lock_guard lock(m_mutex);
        return m_failure;
    }

  protected:
    void enter(State state, std::string failure = "") {
        {
            const std::lock_guard lock(m_mutex);
            m_state = state;
            m_failure = std::move(failure);
        }
        m_events.stateChanged();
    }
    void hand(std::string text) { m_events.received(std::move(text)); }

  private:
    const Events m_events;
    mutable std::mutex m_mutex;
    State m_state = State::connecting;
    std::string m_failure;
};

template <typename Stream>
class PhoneSocket::SessionOver final : public Session {
  public:
    template <typename... Arguments>
    SessionOver(const Origin& origin, std::string target, Events events, Arguments&&... arguments)
        : Session(std::move(events)),
          m_stream(m_context, std::forward<Arguments>(arguments)...),
          m_origin(origin),
          m_target(std::move(target)) {
        const auto addresses = asio::ip::tcp::resolver(m_context).resolve(origin.host, origin.port);
        lowest().expires_after(handshakeDeadline);
        lowest().async_connect(
            addresses, [this](error_code error, const auto&) { error ? end(error) : secure(); });
        m_thread = std::thread([this] { m_context.run(); });
    }

    ~SessionOver() override {
        // Handlers that have not run by then are destroyed with the context.
        m_context.stop();
        m_thread.join();
    }

    void send(std::string text) override {
        asio::post(m_context, [this, text = std::move(text)]() mutable {
            if (!m_isOpen)
                return;
            m_outgoing.push_back(std::move(text));
            if (m_outgoing.size() == 1)
                write();
        });
    }

    void close() override {
        asio::post(m_context, [this] {
            // The pending read ends with the other side's goodbye.
            if (m_isOpen)
                m_stream.async_close(websocket::close_code::going_away, [](error_code) {});
            m_isOpen = false;
        });
    }

  private:
    static constexpr bool isSecure = !std::is_same_v<Stream, beast::tcp_stream>;

    beast::tcp_stream& lowest() { return beast::get_lowest_layer(m_stream); }

    void secure() {
        if constexpr (isSecure) {
            auto& tls = m_stream.next_layer();
            SSL_set_tlsext_host_name(tls.native_handle(), m_origin.host.c_str());
            tls.set_verify_callback(asio::ssl::host_name_verification(m_origin.host));
            tls.async_handshake(asio::ssl::stream_base::client,
                                [this](error_code error) { error ? end(error) : shakeHands(); });
        } else {
            shakeHands();
        }
    }

    void shakeHands() {
        lowest().expires_never();
        m_stream.set_option(websocket::stream_base::timeout{handshakeDeadline,
                                                            websocket::stream_base::none(), false});
        m_stream.async_handshake(m_response, m_origin.authority(), m_target,
                                 [this](error_code error) {
                                     if (error)
                                         return end(error);
                                     m_isOpen = true;
                                     enter(State::open);
                                     read();
                                 });
    }

    void read() {
        m_stream.async_read(m_incoming, [this](error_code error, std::size_t) {
            if (error)
                return end(error);
            hand(beast::buffers_to_string(m_incoming.data()));
            m_incoming.consume(m_incoming.size());
            read();
        });
    }

    void write() {
        m_stream.async_write(asio::buffer(m_outgoing.front()),
                             [this](error_code error, std::size_t) {
                                 m_outgoing.pop_front();
                                 // A connection that cannot be written to fails its pending read.
                                 if (!error && !m_outgoing.empty())
                                     write();
                             });
    }

    void end(error_code error) {
        m_isOpen = false;
        enter(State::ended, error == websocket::error::upgrade_declined
                                ? "refused with HTTP " + std::to_string(m_response.result_int())
                                : error.message());
    }

    asio::io_context m_context;
    websocket::stream<Stream> m_stream;
    const Origin m_origin;
    const std::string m_target;
    // All below belong to the thread.
    websocket::response_type m_response;
    beast::flat_buffer m_incoming;
    std::deque<std::string> m_outgoing; // The first is being written.
    bool m_isOpen = false;
    std::thread m_thread;
};

PhoneSocket::PhoneSocket(std::string_view url, std::string target, const std::string& authorities,
                         Events events) {
    const Origin origin = originOf(url);
    if (!origin.isSecure) {
        m_session = std::make_unique<SessionOver<beast::tcp_stream>>(origin, std::move(target),
                                                                     std::move(events));
        return;
    }
    // The stream keeps what it needs of it.
    asio::ssl::context tls(asio::ssl::context::tls_client);
    tls.set_verify_mode(asio::ssl::verify_peer);
    tls.load_verify_file(authorities);
    m_session = std::make_unique<SessionOver<beast::ssl_stream<beast::tcp_stream>>>(
        origin, std::move(target), std::move(events), tls);
}

PhoneSocket::~PhoneSocket() = default;

PhoneSocket::State PhoneSocket::state() const {
    return m_session->state();
}

std::string PhoneSocket::failure() const {
    return m_session->failure();
}

void PhoneSocket::send(std::string text) {
    m_session->send(std::move(text));
}

void PhoneSocket::close() {
    m_session->close();
}
