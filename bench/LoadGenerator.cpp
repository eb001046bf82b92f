#include "LoadGenerator.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include "core/Descriptor.h"

namespace bench {

namespace {

constexpr std::chrono::seconds timeLimit{60};

class Generator {
  public:
    explicit Generator(const Load& load) : m_load(load), m_set(epoll_create1(EPOLL_CLOEXEC)) {}

    void run() {
        const auto deadline = std::chrono::steady_clock::now() + timeLimit;
        while (m_finished < m_load.count) {
            while (m_begun < m_load.count && m_begun - m_finished < m_load.atOnce)
                begin();
            std::array<epoll_event, 64> events{};
            const int count = epoll_wait(m_set.number(), events.data(), events.size(), 1000);
            for (int i = 0; i < count; ++i)
                ready(events[static_cast<std::size_t>(i)].data.fd);
            if (std::chrono::steady_clock::now() > deadline)
                throw std::runtime_error("the server was too slow for the load");
        }
    }

  private:
    struct Exchange {
        Descriptor socket;
        std::string_view unsent;
        std::string reply;
    };

    void begin() {
        Exchange exchange;
        exchange.socket =
            Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        exchange.unsent =
            m_load.requests[static_cast<std::size_t>(m_begun) % m_load.requests.size()];
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = htons(m_load.port);
        name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int number = exchange.socket.number();
        if (::connect(number, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 &&
            errno != EINPROGRESS)
            throw std::runtime_error("cannot connect to the server under load");
        watch(EPOLL_CTL_ADD, number, EPOLLOUT);
        m_exchanges.emplace(number, std::move(exchange));
        ++m_begun;
    }

    void ready(int number) {
        Exchange& exchange = m_exchanges.at(number);
        if (!exchange.unsent.empty())
            send(exchange);
        else
            receive(exchange);
    }

    void send(Exchange& exchange) {
        const int number = exchange.socket.number();
        const ssize_t count =
            ::send(number, exchange.unsent.data(), exchange.unsent.size(), MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN)
            throw std::runtime_error("the server under load refused a request");
        exchange.unsent.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (exchange.unsent.empty())
            watch(EPOLL_CTL_MOD, number, EPOLLIN);
    }

    void receive(Exchange& exchange) {
        std::array<char, 4096> buffer;
        const ssize_t count = ::recv(exchange.socket.number(), buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EAGAIN)
            return;
        if (count > 0) {
            exchange.reply.append(buffer.data(), static_cast<std::size_t>(count));
            return;
        }
        if (count < 0 || !exchange.reply.starts_with("HTTP/1.1 200 "))
            throw std::runtime_error("the server under load did not answer: " + exchange.reply);
        m_exchanges.erase(exchange.socket.number());
        ++m_finished;
    }

    void watch(int operation, int number, std::uint32_t what) const {
        epoll_event event{};
        event.events = what;
        event.data.fd = number;
        epoll_ctl(m_set.number(), operation, number, &event);
    }

    const Load& m_load;
    Descriptor m_set;
    std::unordered_map<int, Exchange> m_exchanges;
    int m_begun = 0;
    int m_finished = 0;
};

} // namespace

void run(const Load& load) {
    Generator(load).run();
}

} // namespace bench
