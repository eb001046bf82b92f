#include "hook/TestServer.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "hook/Endpoint.h"

namespace {

constexpr int patience = 10'000; // Milliseconds, for what is expected to happen at once.

bool isReadable(int socket, int milliseconds) {
    pollfd wait{.fd = socket, .events = POLLIN, .revents = 0};
    return ::poll(&wait, 1, milliseconds) > 0;
}

} // namespace

std::string TestConnection::readRequest() {
    std::string request;
    std::array<char, 65536> piece{};
    std::size_t expected = std::string::npos;
    while (request.size() < expected && isReadable(m_socket.number(), patience)) {
        const ssize_t count = ::read(m_socket.number(), piece.data(), piece.size());
        if (count <= 0)
            break;
        request.append(piece.data(), static_cast<std::size_t>(count));
        const std::size_t end = request.find("\r\n\r\n");
        if (expected == std::string::npos && end != std::string::npos)
            expected = end + 4 + std::stoul(headerOf(request, "content-length: "));
    }
    return request;
}

void TestConnection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(m_socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

bool TestConnection::sawTheEnd(std::chrono::milliseconds within) {
    char byte = 0;
    return isReadable(m_socket.number(), static_cast<int>(within.count())) &&
           ::read(m_socket.number(), &byte, 1) <= 0;
}

TestServer::TestServer(const std::string& address, int backlog)
    : m_socket(::socket(address.find(':') == std::string::npos ? AF_INET : AF_INET6,
                        SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_storage name{};
    hook::Endpoint endpoint;
    if (address == "::")
        endpoint.family = AF_INET6;
    else if (address != "0.0.0.0")
        endpoint = hook::candidates(address, 1).at(0);
    endpoint.port = 0;
    socklen_t length = endpoint.writeTo(name);
    if (::bind(socket(), reinterpret_cast<const sockaddr*>(&name), length) != 0 ||
        ::listen(socket(), backlog) != 0)
        throw std::system_error(errno, std::generic_category(), "listen on " + address);
    length = sizeof name;
    ::getsockname(socket(), reinterpret_cast<sockaddr*>(&name), &length);
    m_port = hook::Endpoint::from(name).port;
}

TestConnection TestServer::accept() const {
    return TestConnection(
        isReadable(socket(), patience) ? ::accept4(socket(), nullptr, nullptr, SOCK_CLOEXEC) : -1);
}

bool TestServer::hasCaller() const {
    return isReadable(socket(), 0);
}

std::string okReply(std::string_view body) {
    return "HTTP/1.1 200 OK\r\ncontent-type: application/json\r\ncache-control: no-store\r\n"
           "content-length: " +
           std::to_string(body.size()) + "\r\nconnection: close\r\n\r\n" + std::string(body);
}

std::string headerOf(std::string_view request, std::string_view name) {
    const std::size_t at = request.find("\r\n" + std::string(name));
    if (at == std::string_view::npos)
        return "(none)";
    const std::size_t first = at + 2 + name.size();
    return std::string(request.substr(first, request.find("\r\n", first) - first));
}
