#include "support/Client.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

void check(int result, const char* what) {
    if (result != 0)
        throw std::system_error(errno, std::system_category(), what);
}

} // namespace

Client::Client(std::uint16_t port, int receiveBuffer)
    : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (receiveBuffer > 0)
        check(::setsockopt(m_socket.number(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer,
                           sizeof receiveBuffer),
              "receive buffer");
    const timeval time{.tv_sec = patience.count(), .tv_usec = 0};
    check(::setsockopt(m_socket.number(), SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time), "timeout");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    check(::connect(m_socket.number(), reinterpret_cast<sockaddr*>(&address), sizeof address),
          "connect");
}

bool Client::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(m_socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void Client::finishSending() {
    ::shutdown(m_socket.number(), SHUT_WR);
}

bool Client::hasSomething(std::chrono::milliseconds time) {
    pollfd wait{.fd = m_socket.number(), .events = POLLIN, .revents = 0};
    return !m_buffer.empty() || ::poll(&wait, 1, static_cast<int>(time.count())) > 0;
}

bool Client::receive() {
    pollfd wait{.fd = m_socket.number(), .events = POLLIN, .revents = 0};
    const std::chrono::milliseconds time = patience;
    if (m_hasEnded || ::poll(&wait, 1, static_cast<int>(time.count())) <= 0)
        return false;
    char piece[65'536];
    const ssize_t count = ::recv(m_socket.number(), piece, sizeof piece, 0);
    m_hasEnded = count <= 0; // A reset ends it too.
    if (count > 0) {
        m_buffer.append(piece, static_cast<std::size_t>(count));
        m_received += static_cast<std::size_t>(count);
    }
    return !m_hasEnded;
}

std::optional<std::string> Client::everything() {
    while (receive()) {
    }
    return m_hasEnded ? std::optional(std::exchange(m_buffer, {})) : std::nullopt;
}

Response Client::response() {
    const std::string text = everything().value_or("");
    const std::size_t head = text.find("\r\n\r\n");
    if (head == std::string::npos)
        return {"(none)", {}};
    return {text.substr(0, text.find("\r\n")), text.substr(head + 4)};
}

std::optional<std::string> Client::through(std::string_view mark) {
    std::size_t searched = 0;
    for (;;) {
        const std::size_t at = m_buffer.find(mark, searched);
        if (at != std::string::npos) {
            std::string text = m_buffer.substr(0, at + mark.size());
            m_buffer.erase(0, text.size());
            return text;
        }
        searched = m_buffer.size() - std::min(m_buffer.size(), mark.size());
        if (!receive())
            return std::nullopt;
    }
}

JSONValue Client::record() {
    const std::string text = through("\n\n").value_or("");
    if (!text.starts_with("data: "))
        return {};
    return JSONValue::parse(std::string_view(text).substr(6)).value_or(JSONValue());
}

std::string requestText(std::string_view method, std::string_view target, std::string_view headers,
                        std::string_view body) {
    std::string text(method);
    text.append(" ").append(target).append(" HTTP/1.1\r\n").append(headers);
    if (!body.empty())
        text.append("content-length: ").append(std::to_string(body.size())).append("\r\n");
    return text.append("\r\n").append(body);
}
