#include "relayd/HTTPSession.h"

#include <array>
#include <utility>

#include <boost/beast/core/string.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/span_body.hpp>
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
constexpr const char* webSocketVersion = "13";

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
    return IPAddress(
        address.is_v4() ? asio::ip::make_address_v6(asio::ip::v4_mapped, address.to_v4()).to_bytes()
                        : address.to_v6().to_bytes());
}

// Whether a proxy in front has read the same length (RFC 9112 section 6.3) and host.
bool isUnambiguous(const http::request<http::string_body>& request) {
    const bool isNew = request.version() >= 11;
    const std::size_t codings = request.count(http::field::transfer_encoding);
    if (isNew ? request.count(http::field::host) != 1 : codings > 0)
        return false;
    return codings == 0 ||
           (codings == 1 && beast::iequals(request[http::field::transfer_encoding], "chunked"));
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
    countContent(0);
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
        vanish();
}

void HTTPSession::vanish() {
    m_stream.close();
}

void HTTPSession::readHeader() {
    m_isWaiting = true;
    m_parser.emplace();
    m_parser->header_limit(limits::header);
    m_parser->body_limit(limits::phoneFrame);
    http::async_read_header(m_stream, m_buffer, *m_parser,
                            [self = shared_from_this()](error_code error, std::size_t) {
                                self->m_isWaiting = false;
                                if (!error)
                                    self->takeHeader();
                                else
                                    self->refuseUnreadable(error);
                            });
}

void HTTPSession::refuseUnreadable(error_code error) {
    m_isLast = true;
    if (error == http::error::header_limit)
        respond(431, {}, "");
    else if (error == http::error::body_limit)
        respond(413, {}, "");
    else if (error.category() == http::make_error_code(http::error::bad_method).category() &&
             error != http::error::end_of_stream)
        refuse(Refusal::badRequest);
}

void HTTPSession::takeHeader() {
    const Request& request = m_parser->get();
    const std::string_view target = viewOf(request.target());
    if (!isUnambiguous(request)) {
        m_isLast = true;
        return refuse(Refusal::badRequest);
    }
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
    const auto credentials = webSocketCredentials(viewOf(request.target()));
    if (credentials && credentials->role != Credentials::Role::computer &&
        request.find(http::field::upgrade) == request.end())
        return tellAdmission(*credentials);
    // What is behind the header would have been sent before the answer, and would be lost.
    if (!credentials || !beast::websocket::is_upgrade(request) || m_buffer.size() > 0 ||
        !m_parser->is_done() || request.count(http::field::sec_websocket_key) != 1) {
        m_isLast = true;
        return refuse(Refusal::badRequest);
    }
    if (viewOf(request[http::field::sec_websocket_version]) != webSocketVersion)
        return respond(426, {}, "");
    if (m_services.isDraining)
        return refuse(Refusal::unavailable);
    switch (m_services.hub.admit(*credentials, [this] { return !isBarred() && mayRegister(); })) {
    case Admission::unauthorized:
        return refuse(isBarred() ? Refusal::tooManyRequests : Refusal::unauthorized);
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

// A browser does not tell a page why its WebSocket was refused, so a page asks without one.
void HTTPSession::tellAdmission(const Credentials& credentials) {
    switch (m_services.hub.admit(credentials, [] { return false; })) {
    case Admission::admitted:
        return respond(426, {}, "");
    case Admission::unavailable:
        return refuse(Refusal::unavailable);
    default:
        return refuse(isBarred() ? Refusal::tooManyRequests : Refusal::unauthorized);
    }
}

void HTTPSession::readMessage() {
    const Request& request = m_parser->get();
    const auto credentials =
        messagesCredentials(viewOf(request.target()), viewOf(request[http::field::authorization]));
    if (!credentials)
        return refuse(Refusal::badRequest);
    // Before the body: nobody else's is read.
    if (const auto refusal = refusalOf(*credentials))
        return refuse(*refusal);
    countContent(m_parser->content_length().value_or(limits::phoneFrame));
    if (m_content > limits::alwaysBorne &&
        m_services.metrics.receivedInPartBytes > limits::receivedInPart)
        return refuse(Refusal::unavailable);
    m_stream.expires_after(limits::request);
    http::async_read(
        m_stream, m_buffer, *m_parser,
        [self = shared_from_this(), credentials = *credentials](error_code error, std::size_t) {
            self->countContent(0);
            if (!error)
                self->carryMessage(credentials);
            else
                self->refuseUnreadable(error);
        });
}

std::optional<HTTPSession::Refusal> HTTPSession::refusalOf(const Credentials& credentials) {
    if (m_services.isDraining)
        return Refusal::unavailable;
    switch (m_services.hub.admit(credentials, [] { return false; })) {
    case Admission::admitted:
        return std::nullopt;
    case Admission::unavailable:
        return Refusal::unavailable;
    default:
        return isBarred() ? Refusal::tooManyRequests : Refusal::unauthorized;
    }
}

void HTTPSession::countContent(std::size_t bytes) {
    m_services.metrics.receivedInPartBytes += bytes - m_content;
    m_content = bytes;
}

void HTTPSession::carryMessage(const Credentials& credentials) {
    // The phone may have been removed meanwhile.
    if (const auto refusal = refusalOf(credentials))
        return refuse(*refusal);
    const auto message = frames::parse(m_parser->get().body());
    const auto sealed = message ? frames::Sealed::of(*message) : std::nullopt;
    if (!sealed)
        return refuse(Refusal::badRequest);
    if (!m_services.hub.hasComputer(credentials.channel))
        return respond(503, R"({"error":"the computer is not connected"})", jsonType);
    if (!m_services.hub.mayPost(credentials, now()))
        return refuse(Refusal::tooManyRequests);
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
    // A list, or a weak one (RFC 9110 section 13.1.2): with its quotes a tag is in no other.
    const std::string_view known = viewOf(request[http::field::if_none_match]);
    const bool isKnown = known == "*" || known.find(file->tag) != std::string_view::npos;
    // Not a copy: the page lives longer.
    http::response<http::span_body<const char>> response(
        isKnown ? http::status::not_modified : http::status::ok, request.version());
    response.set(http::field::etag, file->tag);
    response.set(http::field::cache_control,
                 file->isImmutable ? "public, max-age=31536000, immutable" : "no-cache");
    if (!isKnown) {
        response.set(http::field::content_type, file->type);
        response.body() = {file->content.data(), file->content.size()};
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
    if (status == 405)
        response.set(http::field::allow,
                     viewOf(m_parser->get().target()).starts_with("/api/") ? "POST" : "GET, HEAD");
    if (status == 426) {
        response.set(http::field::sec_websocket_version, webSocketVersion);
        response.set(http::field::upgrade, "websocket");
    }
    response.body() = std::move(content);
    write(std::move(response));
}

// The content of a refused request has not been read, so the connection ends with it.
template <typename Message>
void HTTPSession::write(Message message) {
    for (const auto& [name, value] : securityHeaders)
        message.set(name, value);
    const Request& request = m_parser->get();
    message.keep_alive(request.keep_alive() && m_parser->is_done() && !m_isLast &&
                       !m_services.isDraining);
    // One that has no content says nothing of its length (RFC 9110 section 8.6).
    if (message.result() != http::status::not_modified)
        message.prepare_payload();
    if (request.method() == http::verb::head)
        message.body() = {};
    const auto held = std::make_shared<Message>(std::move(message));
    m_stream.expires_after(limits::reply);
    http::async_write(m_stream, *held,
                      [self = shared_from_this(), held](error_code error, std::size_t) {
                          if (error)
                              return;
                          if (held->need_eof() || !held->keep_alive()) {
                              self->m_stream.expires_after(limits::unwantedFor);
                              return self->hangUp();
                          }
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
    return m_services.refusals.isEmpty(client().subscriber(), now());
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
    if (m_unwanted == 0)
        m_stream.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    m_buffer.clear();
    m_stream.async_read_some(m_buffer.prepare(limits::header),
                             [self = shared_from_this()](error_code error, std::size_t count) {
                                 self->m_unwanted += count;
                                 if (error || self->m_unwanted > limits::unwanted)
                                     self->m_stream.close();
                                 else
                                     self->hangUp();
                             });
}
