#include "WebSocketClients.h"

#include <array>
#include <stdexcept>
#include <utility>

#include <sys/epoll.h>
#include <sys/socket.h>

#include "Loopback.h"

namespace bench {

namespace {

constexpr int patience = 30'000; // milliseconds

// RFC 6455 section 5.2. A mask of zeros is one, and leaves the text as it is.
std::string frameOf(std::string_view text) {
    constexpr char textFrame = '\x81';
    constexpr unsigned masked = 0x80;
    constexpr std::size_t shortest = 126;
    std::string frame{textFrame};
    if (text.size() < shortest) {
        frame += static_cast<char>(masked | text.size());
    } else if (text.size() < 65536) {
        frame += static_cast<char>(masked | 126U);
        frame += static_cast<char>(text.size() >> 8);
        frame += static_cast<char>(text.size() & 0xFF);
    } else {
        frame += static_cast<char>(masked | 127U);
        for (int shift = 56; shift >= 0; shift -= 8)
            frame += static_cast<char>((text.size() >> shift) & 0xFF);
    }
    return frame.append(4, '\0').append(text);
}

// Bytes of a server's frame: of its header and of what it carries. Zeros while the header is cut.
std::pair<std::size_t, std::size_t> sizesOf(std::string_view bytes) {
    const auto at = [&](std::size_t index) {
        return static_cast<std::size_t>(static_cast<unsigned char>(bytes[index]));
    };
    if (bytes.size() < 2)
        return {0, 0};
    const std::size_t first = at(1) & 0x7F;
    const std::size_t more = first == 126 ? 2 : first == 127 ? 8 : 0;
    if (bytes.size() < 2 + more)
        return {0, 0};
    std::size_t length = more == 0 ? first : 0;
    for (std::size_t i = 0; i < more; ++i)
        length = length << 8 | at(2 + i);
    return {2 + more, length};
}

} // namespace

WebSocketClients::WebSocketClients(std::uint16_t port)
    : m_port(port), m_set(epoll_create1(EPOLL_CLOEXEC)) {}

std::size_t WebSocketClients::connect(std::string_view target, std::string_view header) {
    Client client{loopback::connect(m_port), {}};
    loopback::sendAll(client.socket, "GET " + std::string(target) +
                                         " HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\n"
                                         "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                                         "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n" +
                                         std::string(header) + "\r\n");
    std::array<char, 4096> buffer{};
    std::size_t end = std::string::npos;
    while ((end = client.unread.find("\r\n\r\n")) == std::string::npos) {
        const ssize_t count = ::recv(client.socket.number(), buffer.data(), buffer.size(), 0);
        if (count <= 0)
            throw std::runtime_error("the server hung up on a handshake");
        client.unread.append(buffer.data(), static_cast<std::size_t>(count));
    }
    if (!client.unread.starts_with("HTTP/1.1 101"))
        throw std::runtime_error("a handshake was answered with " + client.unread.substr(0, end));
    client.unread.erase(0, end + 4);
    const std::size_t number = m_clients.size();
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = number;
    epoll_ctl(m_set.number(), EPOLL_CTL_ADD, client.socket.number(), &event);
    m_clients.push_back(std::move(client));
    takeFrames(number);
    return number;
}

void WebSocketClients::send(std::size_t client, std::string_view text) {
    loopback::sendAll(m_clients[client].socket, frameOf(text));
}

WebSocketClients::Message WebSocketClients::next() {
    while (m_messages.empty())
        wait();
    Message message = std::move(m_messages.front());
    m_messages.pop_front();
    return message;
}

WebSocketClients::Message WebSocketClients::awaitBeginning(std::string_view beginning) {
    for (;;)
        if (Message message = next(); message.text.starts_with(beginning))
            return message;
}

void WebSocketClients::wait() {
    std::array<epoll_event, 64> events{};
    std::array<char, 65536> buffer{};
    const int count = epoll_wait(m_set.number(), events.data(), events.size(), patience);
    if (count <= 0)
        throw std::runtime_error("nothing came from the server");
    for (int i = 0; i < count; ++i) {
        const std::size_t number = events[static_cast<std::size_t>(i)].data.u64;
        Client& client = m_clients[number];
        const ssize_t received =
            ::recv(client.socket.number(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (received <= 0)
            throw std::runtime_error("the server ended a connection");
        client.unread.append(buffer.data(), static_cast<std::size_t>(received));
        takeFrames(number);
    }
}

void WebSocketClients::takeFrames(std::size_t number) {
    constexpr char textFrame = '\x81';
    std::string& unread = m_clients[number].unread;
    for (;;) {
        const auto [header, length] = sizesOf(unread);
        if (header == 0 || unread.size() < header + length)
            return;
        if (unread[0] == textFrame)
            m_messages.push_back({number, unread.substr(header, length)});
        unread.erase(0, header + length);
    }
}

} // namespace bench
