#include "http/HTTPConnection.h"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/socket.h>
#include <sys/uio.h>

#include "core/JSONValue.h"
#include "platform/PeerOwner.h"
#include "platform/SocketPoller.h"

namespace {

// One write takes at most this many records, and one turn of the loop writes about this much to one
// peer before the others have theirs.
constexpr std::size_t piecesPerWrite = 16;
constexpr std::size_t bytesPerTurn = 1024 * 1024;

constexpr std::string_view eventStreamHead = "HTTP/1.1 200 OK\r\n"
                                             "content-type: text/event-stream\r\n"
                                             "cache-control: no-store\r\n"
                                             "connection: keep-alive\r\n\r\n";

std::string_view reasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    default:
        return "Error";
    }
}

std::string responseHead(int status, std::string_view contentType, std::size_t bodyLength) {
    std::string head = "HTTP/1.1 ";
    head += std::to_string(status);
    head += ' ';
    head += reasonPhrase(status);
    head += "\r\ncontent-type: ";
    head += contentType;
    head += "\r\ncache-control: no-store\r\ncontent-length: ";
    head += std::to_string(bodyLength);
    head += "\r\nconnection: close\r\n\r\n";
    return head;
}

bool wouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

// Whether the system may wait with a last incomplete segment for what follows at once.
enum class Follows { nothing, shutdown };

// How many bytes the system took from the front of the queue, or -1 with errno set.
ssize_t sendFront(const Descriptor& socket, const SendQueue& queue, Follows follows) {
    std::array<std::string_view, piecesPerWrite> pieces;
    std::array<iovec, piecesPerWrite> vectors{};
    msghdr message{};
    message.msg_iov = vectors.data();
    message.msg_iovlen = queue.front(pieces);
    for (std::size_t i = 0; i < message.msg_iovlen; ++i) {
        // The interface of writes has no const, but does not write to them.
        vectors[i] = {const_cast<char*>(pieces[i].data()), pieces[i].size()};
    }
    // A peer that is gone is an error here, not a signal that ends the program.
    return ::sendmsg(socket.number(), &message,
                     MSG_NOSIGNAL | (follows == Follows::shutdown ? MSG_MORE : 0));
}

} // namespace

HTTPConnection::HTTPConnection(Owner& owner, Descriptor socket, bool isLocal)
    : m_owner(&owner),
      m_socket(std::move(socket)),
      m_parser(std::make_unique<HTTPRequestParser>()),
      m_isLocal(isLocal) {}

HTTPConnection::~HTTPConnection() = default;

void HTTPConnection::begin() {
    try {
        // The owner keeps this object as long as the socket is open.
        m_owner->poller().add(m_socket.number(), SocketPoller::readable,
                              [this](std::uint32_t readiness) { ready(readiness); });
        m_interest = SocketPoller::readable;
    } catch (const std::system_error&) {
        m_socket.reset();
        m_owner = nullptr;
        m_phase = Phase::closed;
        throw;
    }
}

bool HTTPConnection::mayBelongTo(uid_t user) const {
    return isOpen() && peerOwner(m_socket.number()).mayBe(user);
}

void HTTPConnection::ready(std::uint32_t readiness) {
    const auto self = shared_from_this();
    // Reading takes what the peer sent before a failure, and then tells the failure.
    if ((readiness & (SocketPoller::readable | SocketPoller::failed)) != 0)
        read();
    if (isOpen() && (readiness & SocketPoller::writable) != 0) {
        flush();
        settle();
    }
}

void HTTPConnection::read() {
    const std::span<char> buffer = m_owner->readBuffer();
    const ssize_t count = ::recv(m_socket.number(), buffer.data(), buffer.size(), 0);
    if (count > 0)
        received({buffer.data(), static_cast<std::size_t>(count)});
    else if (count == 0)
        peerFinished();
    else if (!wouldBlock(errno))
        giveUp();
}

void HTTPConnection::received(std::string_view bytes) {
    if (m_phase == Phase::draining) {
        m_drainedBytes += bytes.size();
        if (m_drainedBytes > drainBytes)
            giveUp();
        return;
    }
    if (m_phase != Phase::reading)
        return; // A second request is never answered.
    auto request = m_parser->feed(bytes);
    if (!request) {
        if (m_parser->isOverfull())
            close();
        return;
    }
    m_parser.reset();
    m_phase = Phase::held;
    request->isLocal = m_isLocal;
    m_isHandling = true;
    m_owner->handle(std::move(*request), shared_from_this());
    m_isHandling = false;
    settle();
}

void HTTPConnection::peerFinished() {
    m_peerHasFinished = true;
    if (m_phase == Phase::responding)
        updateInterest(); // It may still read what is being written.
    else
        giveUp();
}

void HTTPConnection::giveUp() {
    if (m_phase == Phase::draining)
        releaseSocket();
    else
        close();
}

void HTTPConnection::respond(int status, std::string body, std::string_view contentType) {
    if (m_phase == Phase::held) {
        std::string head = responseHead(status, contentType, body.size());
        write(Phase::responding, std::move(head), std::move(body));
    }
}

void HTTPConnection::respondJSON(int status, const JSONValue& value) {
    if (m_phase == Phase::held)
        respond(status, json::compact(value).value_or("{}"), "application/json");
}

void HTTPConnection::startEventStream() {
    if (m_phase == Phase::held)
        write(Phase::streaming, std::string(eventStreamHead), {});
}

void HTTPConnection::send(std::string_view text) {
    if (m_phase == Phase::streaming && m_queue.unsentBytes() + text.size() <= SendQueue::limit)
        write(Phase::streaming, std::string(text), {});
}

void HTTPConnection::sendState(std::shared_ptr<const std::string> record) {
    if (m_phase == Phase::streaming) {
        m_queue.appendState(std::move(record));
        flush();
        settleSoon();
    }
}

void HTTPConnection::keepAlive(std::string_view text) {
    if (m_queue.isEmpty())
        send(text);
}

void HTTPConnection::write(Phase next, std::string head, std::string body) {
    m_phase = next;
    m_queue.append(std::move(head));
    m_queue.append(std::move(body));
    flush();
    settleSoon();
}

void HTTPConnection::flush() {
    // A response within the handler is settled as soon as that returns: its end then travels in
    // the segment of its last bytes, which saves the system the way of one more through the stack.
    const auto follows =
        m_isHandling && m_phase == Phase::responding ? Follows::shutdown : Follows::nothing;
    std::size_t written = 0;
    while (!m_queue.isEmpty() && !m_isBroken && written < bytesPerTurn) {
        const ssize_t count = sendFront(m_socket, m_queue, follows);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
            m_queue.consume(static_cast<std::size_t>(count));
        } else if (wouldBlock(errno)) {
            break;
        } else {
            m_isBroken = true;
        }
    }
    updateInterest();
}

void HTTPConnection::updateInterest() {
    const std::uint32_t interest =
        (m_peerHasFinished ? 0U : std::uint32_t{SocketPoller::readable}) |
        (m_queue.isEmpty() ? 0U : std::uint32_t{SocketPoller::writable});
    if (interest != m_interest) {
        m_interest = interest;
        m_owner->poller().setInterest(m_socket.number(), interest);
    }
}

void HTTPConnection::settleSoon() {
    // Within the server's handler it is done when that returns.
    if (!m_isHandling && (m_isBroken || isWritten()))
        m_owner->settleSoon(shared_from_this());
}

void HTTPConnection::settle() {
    if (isOpen() && (m_isBroken || isWritten()))
        close();
}

void HTTPConnection::close() {
    if (!isOpen())
        return;
    const auto self = shared_from_this();
    if (isWritten() && !m_isBroken && !m_peerHasFinished)
        drain();
    else
        releaseSocket();
    runCloseHandlers();
}

void HTTPConnection::drain() {
    m_phase = Phase::draining;
    m_drainDeadline = std::chrono::steady_clock::now() + drainTime;
    ::shutdown(m_socket.number(), SHUT_WR);
    m_owner->drains(*this);
}

void HTTPConnection::endDraining() {
    if (m_phase != Phase::draining)
        return;
    const auto self = shared_from_this();
    // What has arrived already must not cut off the response after all.
    const std::span<char> buffer = m_owner->readBuffer();
    while (m_drainedBytes <= drainBytes) {
        const ssize_t count = ::recv(m_socket.number(), buffer.data(), buffer.size(), 0);
        if (count <= 0)
            break;
        m_drainedBytes += static_cast<std::size_t>(count);
    }
    releaseSocket();
}

void HTTPConnection::releaseSocket() {
    m_phase = Phase::closed;
    m_queue.clear();
    m_parser.reset();
    Owner* const owner = std::exchange(m_owner, nullptr);
    owner->poller().remove(m_socket.number());
    m_socket.reset();
    owner->ended(*this);
}

void HTTPConnection::runCloseHandlers() {
    const auto handlers = std::exchange(m_closeHandlers, {});
    for (const auto& handler : handlers)
        handler();
}

void HTTPConnection::addCloseHandler(std::function<void()> handler) {
    if (isOpen())
        m_closeHandlers.push_back(std::move(handler));
}
