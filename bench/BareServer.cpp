// The least that a server can do: accepts, reads one request up to the end of its body, answers
// with nothing and closes. What the daemon does beyond that is its own cost.

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <strings.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include "platform/TCPSocket.h"

namespace {

constexpr std::string_view reply = "HTTP/1.1 200 OK\r\ncontent-length: 0\r\n"
                                   "connection: close\r\n\r\n";

// How many bytes follow the header.
std::size_t bodyLength(const std::string& header) {
    constexpr std::string_view name = "\r\ncontent-length:";
    for (std::size_t at = header.find("\r\n"); at != std::string::npos;
         at = header.find("\r\n", at + 2)) {
        if (strncasecmp(header.c_str() + at, name.data(), name.size()) == 0)
            return std::strtoul(header.c_str() + at + name.size(), nullptr, 10);
    }
    return 0;
}

bool isWhole(const std::string& received) {
    const std::size_t end = received.find("\r\n\r\n");
    return end != std::string::npos && received.size() >= end + 4 + bodyLength(received);
}

class Server {
  public:
    explicit Server(const tcp::Address& address)
        : m_set(epoll_create1(EPOLL_CLOEXEC)), m_listener(tcp::listenOn(address)) {
        watch(m_listener);
    }

    [[noreturn]] void run() {
        for (;;) {
            std::array<epoll_event, 64> events{};
            const int count = epoll_wait(m_set.number(), events.data(), events.size(), -1);
            for (int i = 0; i < count; ++i) {
                const int number = events[static_cast<std::size_t>(i)].data.fd;
                if (number == m_listener.number())
                    acceptAll();
                else
                    read(static_cast<std::size_t>(number));
            }
        }
    }

  private:
    struct Connection {
        Descriptor socket;
        std::string received;
    };

    void watch(const Descriptor& socket) const {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = socket.number();
        epoll_ctl(m_set.number(), EPOLL_CTL_ADD, socket.number(), &event);
    }

    void acceptAll() {
        std::error_code error;
        while (auto accepted = tcp::accept(m_listener, error)) {
            watch(accepted->socket);
            const auto number = static_cast<std::size_t>(accepted->socket.number());
            if (number >= m_connections.size())
                m_connections.resize(number + 1);
            m_connections[number].socket = std::move(accepted->socket);
        }
    }

    void read(std::size_t number) {
        Connection& connection = m_connections[number];
        const ssize_t count =
            ::recv(connection.socket.number(), m_buffer.data(), m_buffer.size(), 0);
        if (count > 0)
            connection.received.append(m_buffer.data(), static_cast<std::size_t>(count));
        if (count > 0 && !isWhole(connection.received))
            return;
        if (count > 0)
            ::send(connection.socket.number(), reply.data(), reply.size(), MSG_NOSIGNAL);
        connection.socket.reset();
        connection.received.clear();
    }

    Descriptor m_set;
    Descriptor m_listener;
    std::vector<Connection> m_connections; // By descriptor.
    std::array<char, 65'536> m_buffer{};
};

} // namespace

int main(int argc, char* argv[]) {
    const auto port = static_cast<std::uint16_t>(argc > 1 ? std::atoi(argv[1]) : 0);
    Server(*tcp::Address::parse("127.0.0.1", port)).run();
}
