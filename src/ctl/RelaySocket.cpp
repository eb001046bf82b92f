#include "ctl/RelaySocket.h"

#include <algorithm>
#include <cerrno>
#include <future>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include "core/Localized.h"
#include "platform/Endpoint.h"

namespace ctl {

namespace {

using Clock = std::chrono::steady_clock;
using Deadline = RelaySocket::Deadline;

constexpr std::chrono::seconds patience{5};
// A name with a dead address among several must not use up the time of the others.
constexpr std::chrono::seconds addressPatience{3};
constexpr std::size_t maximumAddresses = 4;

struct Lookup {
    int error = 0; // of getaddrinfo(3)
    std::vector<Endpoint> endpoints;
};

Lookup lookUp(const std::string& host, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_ADDRCONFIG;
    addrinfo* first = nullptr;
    Lookup lookup;
    lookup.error = ::getaddrinfo(host.c_str(), nullptr, &hints, &first);
    for (const addrinfo* one = first; lookup.error == 0 && one; one = one->ai_next) {
        sockaddr_storage storage{};
        std::copy_n(reinterpret_cast<const char*>(one->ai_addr),
                    std::min<std::size_t>(one->ai_addrlen, sizeof storage),
                    reinterpret_cast<char*>(&storage));
        lookup.endpoints.push_back(Endpoint::from(storage));
        lookup.endpoints.back().port = port;
    }
    if (first)
        ::freeaddrinfo(first);
    return lookup;
}

// The resolver knows no deadline, so a thread waits for it, and is left alone when it takes too
// long: it ends with the program.
std::vector<Endpoint> endpointsOf(const RelayAddress& address) {
    std::packaged_task<Lookup()> task(
        [host = address.host, port = address.port] { return lookUp(host, port); });
    auto result = task.get_future();
    std::thread(std::move(task)).detach();
    if (result.wait_for(patience) != std::future_status::ready)
        throw RelayUnreachable::onTheWay(
            localized("查 %@ 的位址超過 5 秒沒有結果", {address.host}));
    Lookup lookup = result.get();
    if (lookup.error != 0 || lookup.endpoints.empty())
        throw RelayUnreachable::onTheWay(
            localized("查不到 %@ 的位址：%@", {address.host, ::gai_strerror(lookup.error)}));
    lookup.endpoints.resize(std::min(lookup.endpoints.size(), maximumAddresses));
    return std::move(lookup.endpoints);
}

// Waits for the socket. False when it is too late.
bool await(int socket, short events, Deadline deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return false;
        pollfd wait{.fd = socket, .events = events, .revents = 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
        if (ready > 0)
            return true;
        if (ready < 0 && errno != EINTR)
            return false;
    }
}

// @return an error of the system; none when it is connected
std::error_code tryToConnect(const Descriptor& socket, const Endpoint& endpoint,
                             Deadline deadline) {
    sockaddr_storage storage{};
    const socklen_t length = endpoint.writeTo(storage);
    int error = 0;
    if (::connect(socket.number(), reinterpret_cast<const sockaddr*>(&storage), length) != 0)
        error = errno;
    if (error == EINPROGRESS) {
        socklen_t size = sizeof error;
        if (!await(socket.number(), POLLOUT, deadline))
            error = ETIMEDOUT;
        else if (::getsockopt(socket.number(), SOL_SOCKET, SO_ERROR, &error, &size) != 0)
            error = errno;
    }
    return {error, std::generic_category()};
}

Descriptor connectTo(const RelayAddress& address) {
    std::string refusals;
    const std::vector<Endpoint> endpoints = endpointsOf(address);
    for (const Endpoint& endpoint : endpoints) {
        Descriptor socket(::socket(endpoint.family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        const auto time = endpoints.size() == 1 ? patience : addressPatience;
        const auto error = socket.isValid() ? tryToConnect(socket, endpoint, Clock::now() + time)
                                            : std::error_code(errno, std::generic_category());
        if (!error)
            return socket;
        refusals += (refusals.empty() ? "" : "、") +
                    localized("%@（%@）", {endpoint.authority(), error.message()});
    }
    throw RelayUnreachable::onTheWay(localized("連不上 %@", {refusals}));
}

} // namespace

template <typename Call>
auto RelaySocket::overTLS(Call call) const {
    try {
        return call();
    } catch (const TLSError& error) {
        throw RelayUnreachable::because(error, m_address, m_trustedFile);
    }
}

RelaySocket::RelaySocket(RelayAddress address, std::string trustedFile)
    : m_address(std::move(address)),
      m_trustedFile(std::move(trustedFile)),
      m_socket(connectTo(m_address)) {
    if (m_address.usesTLS)
        overTLS([&] {
            m_tls.emplace(m_socket.number(), m_address.host, m_trustedFile,
                          Clock::now() + patience);
        });
}

void RelaySocket::send(std::string_view bytes, Deadline deadline) {
    if (m_tls)
        return overTLS([&] { m_tls->send(bytes, deadline); });
    while (!bytes.empty()) {
        const ssize_t count = ::send(m_socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(count));
        else
            waitAfterError(POLLOUT, deadline);
    }
}

std::string_view RelaySocket::receive(std::span<char> buffer, Deadline deadline) {
    if (m_tls)
        return overTLS([&] { return m_tls->receive(buffer, deadline); });
    for (;;) {
        const ssize_t count = ::recv(m_socket.number(), buffer.data(), buffer.size(), 0);
        if (count >= 0)
            return {buffer.data(), static_cast<std::size_t>(count)};
        waitAfterError(POLLIN, deadline);
    }
}

void RelaySocket::waitAfterError(short events, Deadline deadline) const {
    if (errno != EAGAIN && errno != EINTR)
        throw RelayUnreachable::interrupted(m_address, std::generic_category().message(errno));
    if (!await(m_socket.number(), events, deadline))
        throw RelayUnreachable::silent(m_address);
}

} // namespace ctl
