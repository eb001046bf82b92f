#include "Loopback.h"

#include <array>
#include <cerrno>
#include <random>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace bench::loopback {

namespace {

sockaddr_in address(std::uint16_t port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    result.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return result;
}

std::system_error lastError(const char* what) {
    return {errno, std::system_category(), what};
}

Descriptor socketOfTCP() {
    Descriptor result(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!result.isValid())
        throw lastError("socket");
    return result;
}

} // namespace

std::uint16_t freePort() {
    std::random_device random;
    std::uniform_int_distribution<int> ports(20'000, 32'000);
    for (;;) {
        const auto port = static_cast<std::uint16_t>(ports(random));
        const Descriptor probe = socketOfTCP();
        const sockaddr_in name = address(port);
        if (::bind(probe.number(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0)
            return port;
    }
}

Descriptor connect(std::uint16_t port) {
    Descriptor result = socketOfTCP();
    const sockaddr_in name = address(port);
    if (::connect(result.number(), reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0)
        throw lastError("connect");
    return result;
}

void waitForListener(std::uint16_t port) {
    constexpr int attempts = 500;
    for (int i = 0; i < attempts; ++i) {
        try {
            (void)connect(port);
            return;
        } catch (const std::system_error&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    throw std::runtime_error("nobody listens on port " + std::to_string(port));
}

std::string exchange(std::uint16_t port, std::string_view request) {
    const Descriptor socket = connect(port);
    sendAll(socket, request);
    std::string reply;
    std::array<char, 65'536> buffer;
    for (;;) {
        const ssize_t count = ::recv(socket.number(), buffer.data(), buffer.size(), 0);
        if (count < 0)
            throw lastError("recv");
        if (count == 0)
            return reply;
        reply.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

void sendAll(const Descriptor& socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0)
            throw lastError("send");
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

} // namespace bench::loopback
