#include "support/WebSocketServer.h"

#include <deque>
#include <future>
#include <set>
#include <thread>
#include <type_traits>
#include <utility>

#include <boost/asio.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/beast.hpp>
#include <boost/beast/ssl.hpp>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;

constexpr std::size_t readAtOnce = 64 * 1024;
constexpr std::size_t maximumMessage = 64 * 1024 * 1024;

/// A connection from its acceptance on; over the stream of a socket or of TLS.
template <typename Stream>
class Peer final : public WebSocketServer::Connection,
                   public std::enable_shared_from_this<Peer<Stream>> {
  public:
    template <typename... Arguments>
    explicit Peer(const WebSocketServer::Handlers& handlers, Arguments&&... arguments)
        : m_handlers(handlers), m_stream(std::forward<Arguments>(arguments)...) {}

    void send(std::string text) override {
        if (m_isClosing)
            return;
        m_unsent.push_back(std::move(text));
        if (m_unsent.size() == 1)
            write();
    }

    void close(std::uint16_t code) override {
        m_isClosing = true;
        m_code = code;
        if (m_unsent.empty())
            writeClose();
    }

    void vanish() override {
        error_code ignored;
        beast::get_lowest_layer(m_stream).socket().close(ignored);
        if (std::exchange(m_isPaused, false)) // Else the read ends.
            asio::post(m_stream.get_executor(), [self = self()] { self->end(); });
    }

    void setReading(bool isReading) override {
        m_isReading = isReading;
        if (isReading && std::exchange(m_isPaused, false))
            read();
    }

    void serve() {
        error_code ignored;
        beast::get_lowest_layer(m_stream).socket().set_option(tcp::no_delay(true), ignored);
        if constexpr (std::is_same_v<Stream, beast::tcp_stream>)
            readRequest();
        else
            m_stream.next_layer().async_handshake(asio::ssl::stream_base::server,
                                                  [self = self()](error_code error) {
                                                      if (!error)
                                                          self->readRequest();
                                                  });
    }

  private:
    [[nodiscard]] std::shared_ptr<Peer> self() { return this->shared_from_this(); }

    void readRequest() {
        http::async_read(m_stream.next_layer(), m_buffer, m_request,
                         [self = self()](error_code error, std::size_t) {
                             if (!error)
                                 self->judge();
                         });
    }

    void judge() {
        const std::string target(m_request.target());
        const unsigned status = m_handlers.admit(target);
        if (status != 101) {
            m_refusal.result(status);
            m_refusal.keep_alive(false);
            m_refusal.prepare_payload();
            http::async_write(m_stream.next_layer(), m_refusal,
                              [self = self()](error_code, std::size_t) {});
            return;
        }
        m_buffer.clear();
        m_stream.read_message_max(maximumMessage);
        m_stream.async_accept(m_request, [self = self(), target](error_code error) {
            if (error)
                return;
            self->m_handlers.opened(self, target);
            self->read();
        });
    }

    void read() {
        m_isPaused = !m_isReading;
        if (m_isPaused)
            return;
        m_stream.async_read_some(m_buffer, readAtOnce,
                                 [self = self()](error_code error, std::size_t) {
                                     if (error)
                                         self->end();
                                     else
                                         self->take();
                                 });
    }

    void take() {
        if (m_stream.is_message_done()) {
            if (m_stream.got_text())
                m_handlers.text(self(), beast::buffers_to_string(m_buffer.data()));
            m_buffer.clear();
        }
        read();
    }

    void end() { m_handlers.closed(self(), m_stream.reason().code); }

    void write() {
        m_stream.text(true);
        m_stream.async_write(asio::buffer(m_unsent.front()),
                             [self = self()](error_code error, std::size_t) {
                                 self->m_unsent.pop_front();
                                 if (error)
                                     self->m_unsent.clear();
                                 else if (!self->m_unsent.empty())
                                     self->write();
                                 else if (self->m_isClosing)
                                     self->writeClose();
                             });
    }

    void writeClose() {
        m_stream.async_close(websocket::close_reason(m_code), [self = self()](error_code) {});
    }

    const WebSocketServer::Handlers& m_handlers;
    websocket::stream<Stream> m_stream;
    beast::flat_buffer m_buffer;
    http::request<http::string_body> m_request;
    http::response<http::string_body> m_refusal;
    std::deque<std::string> m_unsent;
    std::uint16_t m_code = 0;
    bool m_isClosing = false;
    bool m_isReading = true;
    bool m_isPaused = false;
};

} // namespace

class WebSocketServer::Implementation {
  public:
    Implementation(Handlers handlers, const std::optional<TLSIdentity>& tls)
        : m_handlers(std::move(handlers)), m_endpoint(asio::ip::address_v4::loopback(), 0) {
        if (tls) {
            m_tls.emplace(asio::ssl::context::tls_server);
            m_tls->use_certificate_chain_file(tls->certificate.string());
            m_tls->use_private_key_file(tls->key.string(), asio::ssl::context::pem);
        }
        listen();
        m_thread = std::thread([this] { m_context.run(); });
    }

    ~Implementation() {
        run([this] { stop(); });
        m_work.reset();
        m_thread.join();
    }

    [[nodiscard]] std::uint16_t port() const { return m_endpoint.port(); }

    void listen() {
        m_acceptor.emplace(m_context, m_endpoint);
        m_endpoint = m_acceptor->local_endpoint();
        accept();
    }

    void stop() {
        m_acceptor.reset();
        for (const auto& weak : std::exchange(m_connections, {}))
            if (const auto connection = weak.lock())
                connection->vanish();
    }

    void run(const std::function<void()>& action) {
        asio::post(m_context, std::packaged_task<void()>(action)).get();
    }

  private:
    void accept() {
        m_acceptor->async_accept([this](error_code error, tcp::socket socket) {
            if (error)
                return;
            if (m_tls)
                serve<beast::ssl_stream<beast::tcp_stream>>(std::move(socket), *m_tls);
            else
                serve<beast::tcp_stream>(std::move(socket));
            accept();
        });
    }

    template <typename Stream, typename... Arguments>
    void serve(Arguments&&... arguments) {
        const auto peer =
            std::make_shared<Peer<Stream>>(m_handlers, std::forward<Arguments>(arguments)...);
        std::erase_if(m_connections, [](const auto& weak) { return weak.expired(); });
        m_connections.push_back(peer);
        peer->serve();
    }

    const Handlers m_handlers;
    tcp::endpoint m_endpoint;
    std::optional<asio::ssl::context> m_tls;
    asio::io_context m_context{1};
    asio::executor_work_guard<asio::io_context::executor_type> m_work{m_context.get_executor()};
    std::optional<tcp::acceptor> m_acceptor;
    std::vector<std::weak_ptr<Connection>> m_connections;
    std::thread m_thread;
};

WebSocketServer::WebSocketServer(Handlers handlers, const std::optional<TLSIdentity>& tls)
    : m_implementation(std::make_unique<Implementation>(std::move(handlers), tls)) {}

WebSocketServer::~WebSocketServer() = default;

std::uint16_t WebSocketServer::port() const {
    return m_implementation->port();
}

void WebSocketServer::stop() {
    run([this] { m_implementation->stop(); });
}

void WebSocketServer::start() {
    run([this] { m_implementation->listen(); });
}

void WebSocketServer::run(const std::function<void()>& action) const {
    m_implementation->run(action);
}
