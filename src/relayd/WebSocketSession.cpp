#include "relayd/WebSocketSession.h"

#include <boost/asio/post.hpp>
#include <boost/beast/websocket/rfc6455.hpp>

#include "relayd/Frames.h"

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using boost::system::error_code;

namespace {

// A connection that waits holds so much for what may come; most frames are longer, and then read
// in larger pieces.
constexpr std::size_t firstPiece = 512;
constexpr std::size_t nextPiece = std::size_t{64} * 1024;
constexpr std::size_t keptBuffer = std::size_t{4} * 1024;

constexpr auto handshake = std::chrono::seconds(10);

bool isComputer(const Credentials& credentials) {
    return credentials.role == Credentials::Role::computer;
}

} // namespace

WebSocketSession::WebSocketSession(Socket socket, Services& services, Credentials credentials,
                                   ConnectionCount count)
    : m_stream(std::move(socket)),
      m_services(services),
      m_credentials(std::move(credentials)),
      m_count(std::move(count)),
      m_queue(services.metrics,
              isComputer(m_credentials) ? limits::unsentToComputer : limits::unsentToPhone),
      m_budget(isComputer(m_credentials)
                   ? Budget(limits::computerMessages, limits::computerMessagesPerSecond, now())
                   : Budget(limits::phoneMessages, limits::phoneMessagesPerSecond, now())) {
    services.sessions.insert(this);
}

WebSocketSession::~WebSocketSession() {
    countHeld(0);
    m_services.sessions.erase(this);
}

std::size_t WebSocketSession::longestFrame() const {
    switch (m_credentials.role) {
    case Credentials::Role::computer:
        return limits::computerFrame;
    case Credentials::Role::phone:
        return limits::phoneFrame;
    case Credentials::Role::pairing:
        break;
    }
    return limits::pairingFrame;
}

void WebSocketSession::start(const Request& request) {
    m_stream.set_option(websocket::stream_base::timeout{
        .handshake_timeout = handshake, .idle_timeout = limits::silence, .keep_alive_pings = true});
    m_stream.read_message_max(0); // Counted here: a frame that is too long is not the end.
    m_stream.auto_fragment(false);
    m_stream.text(true);
    m_stream.set_option(websocket::stream_base::decorator([](websocket::response_type& response) {
        response.set(beast::http::field::server, "tamsell-relay");
    }));
    m_stream.async_accept(request, [self = shared_from_this()](error_code error) {
        if (!error)
            self->opened();
    });
}

void WebSocketSession::opened() {
    m_isOpen = true;
    if (m_isClosing)
        return sayGoodbye();
    m_since = now();
    m_place = m_services.hub.join(m_credentials, *this);
    if (!m_place)
        return close(CloseCode::removed);
    read();
}

void WebSocketSession::read() {
    const bool isFirst = m_buffer.size() == 0 && m_discarded == 0;
    m_stream.async_read_some(m_buffer, isFirst ? firstPiece : nextPiece,
                             [self = shared_from_this()](error_code error, std::size_t count) {
                                 if (error)
                                     self->end();
                                 else
                                     self->hasRead(count);
                             });
}

void WebSocketSession::hasRead(std::size_t count) {
    m_services.metrics.bytesReceived += count;
    if (m_buffer.size() == count && m_discarded == 0)
        m_messageSince = now();
    if (m_discarded > 0 || m_buffer.size() > longestFrame()) {
        m_discarded += m_buffer.size();
        m_buffer.consume(m_buffer.size());
    }
    countHeld(m_buffer.size());
    const bool isOneTooMany = m_held > limits::alwaysBorne &&
                              m_services.metrics.receivedInPartBytes > limits::receivedInPart;
    if (m_discarded > limits::discarded || now() - m_messageSince > limits::message || isOneTooMany)
        return close(CloseCode::messageTooBig);
    if (!m_stream.is_message_done())
        return read();
    takeMessage();
    pauseOrRead();
}

void WebSocketSession::countHeld(std::size_t bytes) {
    m_services.metrics.receivedInPartBytes += bytes - m_held;
    m_held = bytes;
}

void WebSocketSession::takeMessage() {
    if (m_discarded > 0) {
        ++m_services.metrics.framesTooLong;
        send(frames::error("a frame of more than " + std::to_string(longestFrame()) + " bytes"));
    } else if (m_stream.got_text() && !m_isClosing) {
        m_place->take({static_cast<const char*>(m_buffer.cdata().data()), m_buffer.size()});
    }
    m_discarded = 0;
    countHeld(0);
    m_buffer.consume(m_buffer.size());
    if (m_buffer.capacity() > keptBuffer)
        m_buffer = beast::flat_buffer();
}

void WebSocketSession::pauseOrRead() {
    const auto pause = m_budget.owe(now());
    if (pause.count() == 0)
        return read();
    m_timer = std::make_unique<asio::steady_timer>(m_services.context, pause);
    m_timer->async_wait([self = shared_from_this()](error_code error) {
        if (!error)
            self->read();
    });
}

void WebSocketSession::send(Frame frame) {
    if (m_isClosing)
        return;
    if (!m_queue.push(std::move(frame), now())) {
        ++m_services.metrics.slowReaders;
        return vanish();
    }
    if (m_queue.size() == 1)
        write();
}

void WebSocketSession::write() {
    m_stream.async_write(
        asio::buffer(*m_queue.front()),
        [self = shared_from_this(), frame = m_queue.front()](error_code error, std::size_t) {
            if (error || self->m_queue.empty())
                return;
            self->m_queue.pop();
            if (!self->m_queue.empty())
                self->write();
            else if (self->m_isClosing)
                self->sayGoodbye();
        });
}

void WebSocketSession::close(CloseCode code) {
    if (m_isClosing)
        return;
    beginToClose();
    m_code = code;
    if (m_isOpen && m_queue.empty())
        sayGoodbye();
}

void WebSocketSession::sayGoodbye() {
    const websocket::close_reason reason(static_cast<std::uint16_t>(m_code));
    m_stream.async_close(reason, [self = shared_from_this()](error_code) { self->end(); });
}

// Who is going hears nothing more and is not there any more for the others. The place is given up
// later: this may be a call of the channel's.
void WebSocketSession::beginToClose() {
    m_isClosing = true;
    m_since = now();
    asio::post(m_services.context, [self = shared_from_this()] { self->m_place.reset(); });
}

void WebSocketSession::look(Moment now) {
    if (!m_isOpen)
        return; // The handshake has a deadline of its own.
    if (m_isClosing) {
        if (now - m_since > limits::farewell)
            vanish();
    } else if (m_queue.isLate(now)) {
        ++m_services.metrics.slowReaders;
        vanish();
    } else if ((m_held > 0 || m_discarded > 0) && now - m_messageSince > limits::message) {
        close(CloseCode::messageTooBig);
    } else if (m_credentials.role == Credentials::Role::pairing &&
               now - m_since > limits::pairing) {
        close(CloseCode::policyViolation);
    }
}

void WebSocketSession::vanish() {
    if (!m_isClosing)
        beginToClose();
    error_code ignored;
    m_stream.next_layer().close(ignored);
}

void WebSocketSession::end() {
    m_isClosing = true;
    m_timer.reset();
    m_place.reset();
    m_services.sessions.erase(this);
    // A peer that only reads no more, or only writes no more, is gone as well.
    error_code ignored;
    m_stream.next_layer().close(ignored);
}
