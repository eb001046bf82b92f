#include "relayd/HTTPSession.h"

#include <array>
#include <utility>

#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include "relayd/Frames.h"
#include "relayd/MessageRequest.h"
#include "relayd/WebSocketSession.h"

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using boost::system::error_code;

namespace {

constexpr const char* plainText = "text/plain; charset=utf-8";
constexpr const char* jsonType = "application/json";

// The page is its own files and nothing else, may ask nobody but this relay, and sits in no frame.
constexpr std::array<std::pair<const char*, const char*>, 6> securityHeaders{
    {{"Content-Security-Policy",
      "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
      "font-src 'self'; connect-src 'self'; manifest-src 'self'; worker-src 'self'; "
      "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
     {"X-Content-Type-Options", "nosniff"},
     {"Referrer-Policy", "no-referrer"},
     {"Cross-Origin-Opener-Policy", "same-origin"},
     {"Cross-Origin-Resource-Policy", "same-origin"},
     {"Permissions-Policy", "camera=(self), microphone=(), geolocation=(), payment=()"}}};

std::string_view viewOf(beast::string_view text) {
    return {text.data(), text.size()};
}

IPAddress addressOf(const asio::ip::tcp::socket& socket) {
    error_code error;
    const auto address = socket.remote_endpoint(error).address();
    return IPAddress::parse(address.to_string()).value_or(IPAddress(IPAddress::Bytes()));
}

} // namespace

HTTPSession::HTTPSession(asio::ip::tcp::socket socket, Services& services)
    : m_stream(std::move(socket)),
      m_services(services),
      m_count(services.metrics),
      m_peer(addressOf(m_stream.socket())) {
    services.sessions.insert(this);
}

HTTPSession::~HTTPSession() {
    m_services.sessions.erase(this);
}

void HTTPSession::start() {
    error_code ignored;
    m_stream.socket().set_option(asio::ip::tcp::no_delay(true), ignored);
    m_stream.expires_after(limits::request);
    readHeader();
}

void HTTPSession::drain() {
    // One that has been asked something still answers it.
    if (m_isWaiting)
        hangUp();
}

void HTTPSession::readHeader() {
    m_isWaiting = true;
    m_parser.emplace();
    m_parser->header_limit(limits::header);
    m_parser->body_limit(limits::phoneFrame);
    http::async_read_header(
        m_stream, m_buffer, *m_parser, [self = shared_from_this()](error_code error, std::size_t) {
            self->m_isWaiting = false;
            if (!error)
                self->takeHeader();
            else if (error == http::error::header_limit)
                self->respond(431, {}, "");
            else if (error == http::error::body_limit)
                self->respond(413, {}, "");
            else if (error.category() ==
                         http::make_error_code(http::error::bad_method).category() &&
                     error != http::error::end_of_stream)
                self->refuse(Refusal::badRequest);
        });
}

void HTTPSession::takeHeader() {
    const Request& request = m_parser->get();
    const std::string_view target = viewOf(request.target());
    if (target.starts_with("/ws/"))
        return admitWebSocket();
    if (target.starts_with("/api/"))
        return request.method() == http::verb::post ? readMessage() : respond(405, {}, "");
    if (request.method() != http::verb::get && request.method() != http::verb::head)
        return respond(405, {}, "");
    if (target == "/healthz")
        return respond(200, "ok\n", plainText);
    // Numbers about everybody are for who runs this.
    if (target == "/metrics" && isLocal())
        return respond(200, m_services.metrics.text(), "text/plain; version=0.0.4");
    serveFile();
}

void HTTPSession::admitWebSocket() {
    const Request& request = m_parser->get();
    if (isBarred())
        return;
    const auto credentials = webSocketCredentials(viewOf(request.target()));
    if (!credentials || !beast::websocket::is_upgrade(request))
        return refuse(Refusal::badRequest);
    switch (m_services.hub.admit(*credentials, [this] { return mayRegister(); })) {
    case Admission::unauthorized:
        return refuse(Refusal::unauthorized);
    case Admission::tooManyRequests:
        return refuse(Refusal::tooManyRequests);
    case Admission::unavailable:
        return refuse(Refusal::unavailable);
    case Admission::admitted:
        break;
    }
    m_stream.expires_never();
    auto count = std::move(*m_count);
    m_count.reset();
    std::make_shared<WebSocketSession>(m_stream.release_socket(), m_services, *credentials,
                                       std::move(count))
        ->start(request);
}

void HTTPSession::readMessage() {
    if (isBarred())
        return;
    const Request& request = m_parser->get();
    const auto credentials =
        messagesCredentials(viewOf(request.target()), viewOf(request[http::field::authorization]));
    if (!credentials)
        return refuse(Refusal::badRequest);
    // Before the body: nobody else's is read.
    const auto admission = m_services.hub.admit(*credentials, [] { return false; });
    if (admission != Admission::admitted)
        return refuse(admission == Admission::unavailable ? Refusal::unavailable
                                                          : Refusal::unauthorized);
    m_stream.expires_after(limits::request);
    http::async_read(
        m_stream, m_buffer, *m_parser,
        [self = shared_from_this(), credentials = *credentials](error_code error, std::size_t) {
            if (!error)
                self->carryMessage(credentials);
            else if (error == http::error::body_limit)
                self->respond(413, {}, "");
        });
}

void HTTPSession::carryMessage(const Credentials& credentials) {
    const auto message = frames::parse(m_parser->get().body());
    const auto sealed = message ? frames::Sealed::of(*message) : std::nullopt;
    if (!sealed)
        return refuse(Refusal::badRequest);
    if (!m_services.hub.hasComputer(credentials.channel))
        return respond(503, R"({"error":"the computer is not connected"})", jsonType);
    m_stream.expires_never();
    auto count = std::move(*m_count);
    m_count.reset();
    std::make_shared<MessageRequest>(m_stream.release_socket(), m_services, credentials,
                                     std::move(count))
        ->start(*frames::toPhone("msg", *sealed), m_parser->get().version());
}

void HTTPSession::serveFile() {
    const Request& request = m_parser->get();
    const std::string_view target = viewOf(request.target());
    const StaticFiles::File* const file = m_services.page.find(target.substr(0, target.find('?')));
    if (!file)
        return respond(404, "Not found\n", plainText);
    const bool isKnown = viewOf(request[http::field::if_none_match]) == file->tag;
    http::response<http::string_body> response(
        isKnown ? http::status::not_modified : http::status::ok, request.version());
    response.set(http::field::etag, file->tag);
    response.set(http::field::cache_control,
                 file->isImmutable ? "public, max-age=31536000, immutable" : "no-cache");
    if (!isKnown) {
        response.set(http::field::content_type, file->type);
        response.body() = file->content;
    }
    write(std::move(response));
}

void HTTPSession::respond(unsigned status, std::string content, std::string_view type) {
    http::response<http::string_body> response(http::int_to_status(status),
                                               m_parser->get().version());
    response.set(http::field::cache_control, "no-store");
    if (!type.empty())
        response.set(http::field::content_type, beast::string_view(type.data(), type.size()));
    if (status == 429 || status == 503)
        response.set(http::field::retry_after, "30");
    if (status == 401)
        response.set(http::field::www_authenticate, "Bearer");
    response.body() = std::move(content);
    write(std::move(response));
}

// The content of a refused request has not been read, so the connection ends with it.
template <typename Message>
void HTTPSession::write(Message message) {
    for (const auto& [name, value] : securityHeaders)
        message.set(name, value);
    const Request& request = m_parser->get();
    message.keep_alive(request.keep_alive() && m_parser->is_done());
    message.prepare_payload();
    if (request.method() == http::verb::head)
        message.body().clear();
    const auto held = std::make_shared<Message>(std::move(message));
    m_stream.expires_after(limits::reply);
    http::async_write(m_stream, *held,
                      [self = shared_from_this(), held](error_code error, std::size_t) {
                          if (error || held->need_eof() || !held->keep_alive())
                              return self->hangUp();
                          self->m_stream.expires_after(limits::keptAlive);
                          self->readHeader();
                      });
}

void HTTPSession::refuse(Refusal refusal) {
    Metrics& metrics = m_services.metrics;
    switch (refusal) {
    case Refusal::badRequest:
        ++metrics.refusedBadRequest;
        return respond(400, "Bad request\n", plainText);
    case Refusal::unauthorized:
        ++metrics.refusedUnauthorized;
        (void)m_services.refusals.spend(client().subscriber(), now());
        return respond(401, "Unauthorized\n", plainText);
    case Refusal::tooManyRequests:
        ++metrics.refusedTooMany;
        return respond(429, "Too many requests\n", plainText);
    case Refusal::unavailable:
        ++metrics.refusedUnavailable;
        return respond(503, "Unavailable\n", plainText);
    }
}

bool HTTPSession::isBarred() {
    if (!m_services.refusals.isEmpty(client().subscriber(), now()))
        return false;
    refuse(Refusal::tooManyRequests);
    return true;
}

bool HTTPSession::mayRegister() {
    return m_services.newChannels.spend(client().subscriber(), now());
}

IPAddress HTTPSession::client() const {
    constexpr auto header = "X-Forwarded-For";
    std::string forwarded;
    const auto [first, last] = m_parser->get().equal_range(header);
    for (auto at = first; at != last; ++at)
        forwarded.append(forwarded.empty() ? "" : ",").append(viewOf(at->value()));
    return clientAddress(m_peer, forwarded, m_services.options.proxies);
}

// A proxy on this machine is no reason to tell the world.
bool HTTPSession::isLocal() const {
    const Request& request = m_parser->get();
    return m_peer.isLoopback() && request.find("X-Forwarded-For") == request.end() &&
           request.find("Forwarded") == request.end() && request.find("Via") == request.end();
}

void HTTPSession::hangUp() {
    error_code ignored;
    m_stream.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    m_stream.close();
}
