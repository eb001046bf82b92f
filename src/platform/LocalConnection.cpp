#include "platform/LocalConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "platform/PeerOwner.h"

namespace {

using Deadline = LocalConnection::Deadline;
using Obstacle = LocalConnection::Obstacle;
using Patience = LocalConnection::Patience;

// Waits for the socket. False when the patience is at its end.
bool await(int socket, short events, const Patience& patience) {
    for (;;) {
        int milliseconds = -1;
        if (patience.deadline != LocalConnection::never) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(
                patience.deadline - LocalConnection::Clock::now());
            if (left.count() <= 0)
                return false;
            milliseconds = static_cast<int>(left.count());
        }
        // Without any event asked for, a pipe or socket reports that its other end is gone.
        std::array<pollfd, 2> waits{pollfd{.fd = socket, .events = events, .revents = 0},
                                    pollfd{.fd = patience.watched, .events = 0, .revents = 0}};
        const int ready = ::poll(waits.data(), waits.size(), milliseconds);
        if (ready < 0 && errno != EINTR)
            return false;
        if (ready > 0)
            return waits[0].revents != 0;
    }
}

// A connection to that endpoint; without a descriptor when there is none by the deadline.
Descriptor connectTo(const Endpoint& endpoint, Deadline deadline, Obstacle& obstacle) {
    Descriptor socket(
        ::socket(endpoint.family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    sockaddr_storage address{};
    const socklen_t length = endpoint.writeTo(address);
    obstacle = Obstacle::nobodyListens;
    if (!socket.isValid() ||
        ::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), length) == 0)
        return socket;
    if (errno != EINPROGRESS)
        return Descriptor();
    if (!await(socket.number(), POLLOUT, {.deadline = deadline})) {
        obstacle = Obstacle::notInTime;
        return Descriptor();
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(socket.number(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0)
        return Descriptor();
    return socket;
}

} // namespace

std::optional<LocalConnection> LocalConnection::open(std::span<const Endpoint> candidates,
                                                     uid_t owner, Deadline deadline,
                                                     Obstacle* obstacle) {
    Obstacle met = Obstacle::nobodyListens;
    std::optional<LocalConnection> result;
    for (const Endpoint& endpoint : candidates) {
        Obstacle here = Obstacle::none;
        Descriptor socket = connectTo(endpoint, deadline, here);
        if (socket.isValid() && peerOwner(socket.number()).mayBe(owner)) {
            result = LocalConnection(std::move(socket), endpoint);
            break;
        }
        met = std::max(met, socket.isValid() ? Obstacle::anotherUser : here);
    }
    if (obstacle)
        *obstacle = result ? Obstacle::none : met;
    return result;
}

bool LocalConnection::send(std::string_view head, std::string_view body, const Patience& patience) {
    while (!head.empty() || !body.empty()) {
        // sendmsg does not change what it sends.
        std::array<iovec, 2> parts{iovec{const_cast<char*>(head.data()), head.size()},
                                   iovec{const_cast<char*>(body.data()), body.size()}};
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        const ssize_t sent = ::sendmsg(descriptor(), &message, MSG_NOSIGNAL);
        if (sent >= 0) {
            const std::size_t ofHead = std::min(static_cast<std::size_t>(sent), head.size());
            head.remove_prefix(ofHead);
            body.remove_prefix(static_cast<std::size_t>(sent) - ofHead);
        } else if (errno == EAGAIN) {
            if (!await(descriptor(), POLLOUT, patience))
                return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

std::optional<std::string_view> LocalConnection::receive(std::span<char> buffer,
                                                         const Patience& patience) {
    // Before every piece, because what trickles in must not outlast the deadline either.
    while (await(descriptor(), POLLIN, patience)) {
        const ssize_t count = ::recv(descriptor(), buffer.data(), buffer.size(), 0);
        if (count >= 0)
            return std::string_view(buffer.data(), static_cast<std::size_t>(count));
        if (errno != EAGAIN && errno != EINTR)
            return std::nullopt;
    }
    return std::nullopt;
}
