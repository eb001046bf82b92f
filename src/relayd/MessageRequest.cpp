#include "relayd/MessageRequest.h"

#include <charconv>

#include <boost/asio/write.hpp>

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

constexpr std::string_view header = " 200 OK\r\n"
                                    "Content-Type: application/x-ndjson\r\n"
                                    "Cache-Control: no-store\r\n"
                                    "X-Content-Type-Options: nosniff\r\n"
                                    "X-Accel-Buffering: no\r\n" // To nginx: each line on its own.
                                    "Connection: close\r\n";

constexpr unsigned http11 = 11;

Frame frameOf(std::string text) {
    return std::make_shared<const std::string>(std::move(text));
}

} // namespace

MessageRequest::MessageRequest(Socket socket, Services& services, Credentials credentials,
                               ConnectionCount count)
    : m_socket(std::move(socket)),
      m_services(services),
      m_credentials(std::move(credentials)),
      m_count(std::move(count)),
      m_queue(services.metrics, limits::unsentToPhone),
      m_timer(services.context) {
    services.sessions.insert(this);
}

MessageRequest::~MessageRequest() {
    m_services.sessions.erase(this);
}

// RFC 9112 section 7.1.
std::string MessageRequest::chunk(std::string_view content) const {
    if (!m_isChunked)
        return std::string(content);
    std::array<char, 16> size{};
    const auto end = std::to_chars(size.data(), size.data() + size.size(), content.size(), 16).ptr;
    return std::string(size.data(), end) + "\r\n" + std::string(content) + "\r\n";
}

void MessageRequest::start(const std::string& frame, unsigned version) {
    m_isChunked = version >= http11;
    std::string begin = m_isChunked ? "HTTP/1.1" : "HTTP/1.0";
    begin += header;
    begin += m_isChunked ? "Transfer-Encoding: chunked\r\n\r\n" : "\r\n";
    if (!m_queue.push(frameOf(std::move(begin)), now()))
        return;
    write();
    watch();
    m_timer.expires_after(limits::postedMessage);
    m_timer.async_wait([self = shared_from_this()](error_code error) {
        if (!error)
            self->finish();
    });
    m_place = m_services.hub.join(m_credentials, *this);
    if (m_place)
        m_place->take(frame);
    else
        finish();
}

void MessageRequest::send(Frame frame) {
    if (m_isClosing)
        return;
    if (!m_queue.push(frameOf(chunk(*frame + "\n")), now())) {
        ++m_services.metrics.slowReaders;
        return end();
    }
    if (m_queue.size() == 1)
        write();
}

void MessageRequest::write() {
    asio::async_write(
        m_socket, asio::buffer(*m_queue.front()),
        [self = shared_from_this(), frame = m_queue.front()](error_code error, std::size_t) {
            if (error)
                return self->end();
            self->m_queue.pop();
            if (!self->m_queue.empty())
                self->write();
            else if (self->m_isClosing)
                self->end();
        });
}

// Nothing more is to come from the phone but its hanging up.
void MessageRequest::watch() {
    m_socket.async_read_some(asio::buffer(m_unexpected),
                             [self = shared_from_this()](error_code error, std::size_t) {
                                 if (error)
                                     self->end();
                                 else
                                     self->watch();
                             });
}

void MessageRequest::close(CloseCode /*code*/) {
    finish();
}

void MessageRequest::finish() {
    if (std::exchange(m_isClosing, true))
        return;
    // The place is given up later: this may be a call of the channel's.
    asio::post(m_services.context, [self = shared_from_this()] { self->m_place.reset(); });
    if (!m_queue.push(frameOf(m_isChunked ? "0\r\n\r\n" : ""), now()))
        return end();
    if (m_queue.size() == 1)
        write();
    // A phone that does not take the rest does not keep the connection.
    m_timer.expires_after(limits::reply);
    m_timer.async_wait([self = shared_from_this()](error_code error) {
        if (!error)
            self->end();
    });
}

void MessageRequest::end() {
    m_isClosing = true;
    m_timer.cancel();
    error_code ignored;
    m_socket.shutdown(Socket::shutdown_both, ignored);
    m_socket.close(ignored);
    asio::post(m_services.context, [self = shared_from_this()] { self->m_place.reset(); });
}
