#include "hook/Exchange.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

#include <netinet/in.h>
#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

#include "core/Descriptor.h"
#include "hook/Message.h"
#include "hook/PeerOwner.h"

namespace hook {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{2};

// When to give up.
using Deadline = Clock::time_point;
constexpr Deadline never = Deadline::max();

// Waits for the socket. False when the deadline has passed or nobody reads `output` any more.
bool await(int socket, short events, Deadline deadline, int output) {
    for (;;) {
        int milliseconds = -1;
        if (deadline != never) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0)
                return false;
            milliseconds = static_cast<int>(left.count());
        }
        // Without any event asked for, a pipe or socket reports that its other end is gone.
        std::array<pollfd, 2> waits{pollfd{.fd = socket, .events = events, .revents = 0},
                                    pollfd{.fd = output, .events = 0, .revents = 0}};
        const int ready = ::poll(waits.data(), waits.size(), milliseconds);
        if (ready < 0 && errno != EINTR)
            return false;
        if (ready > 0)
            return waits[0].revents != 0;
    }
}

// A connection to that endpoint; without a descriptor when there is none by the deadline.
Descriptor connectTo(const Endpoint& endpoint, Deadline deadline) {
    Descriptor socket(
        ::socket(endpoint.family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    sockaddr_storage address{};
    const socklen_t length = endpoint.writeTo(address);
    if (!socket.isValid() ||
        ::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), length) == 0)
        return socket;
    int error = errno;
    if (error == EINPROGRESS && await(socket.number(), POLLOUT, deadline, -1)) {
        socklen_t size = sizeof error;
        if (::getsockopt(socket.number(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0)
            return socket;
    }
    return Descriptor();
}

bool isOwnedBy(int socket, const Endpoint& peer, uid_t owner) {
    sockaddr_storage own{};
    socklen_t length = sizeof own;
    return ::getsockname(socket, reinterpret_cast<sockaddr*>(&own), &length) == 0 &&
           peerOwner(Endpoint::from(own), peer).mayBe(owner);
}

bool send(int socket, std::string_view head, std::string_view body, Deadline deadline, int output) {
    while (!head.empty() || !body.empty()) {
        // sendmsg does not change what it sends.
        std::array<iovec, 2> parts{iovec{const_cast<char*>(head.data()), head.size()},
                                   iovec{const_cast<char*>(body.data()), body.size()}};
        msghdr message{};
        message.msg_iov = parts.data();
        message.msg_iovlen = parts.size();
        const ssize_t sent = ::sendmsg(socket, &message, MSG_NOSIGNAL);
        if (sent >= 0) {
            const std::size_t ofHead = std::min(static_cast<std::size_t>(sent), head.size());
            head.remove_prefix(ofHead);
            body.remove_prefix(static_cast<std::size_t>(sent) - ofHead);
        } else if (errno == EAGAIN) {
            if (!await(socket, POLLOUT, deadline, output))
                return false;
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

std::optional<std::string> receive(int socket, Deadline deadline, int output) {
    ReplyReader reply;
    std::array<char, std::size_t{16} << 10> piece; // NOLINT(cppcoreguidelines-pro-type-member-init)
    // Before every piece, because a reply that trickles in must not outlast the deadline either.
    while (await(socket, POLLIN, deadline, output)) {
        const ssize_t count = ::recv(socket, piece.data(), piece.size(), 0);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            continue;
        if (count <= 0)
            return std::nullopt;
        const auto progress =
            reply.add(std::string_view(piece.data(), static_cast<std::size_t>(count)));
        if (progress == ReplyReader::Progress::complete)
            return std::string(reply.body());
        if (progress == ReplyReader::Progress::refused)
            return std::nullopt;
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> exchange(const Call& call) {
    const Deadline connectDeadline = Clock::now() + patience;
    for (const Endpoint& endpoint : call.candidates) {
        const Descriptor socket = connectTo(endpoint, connectDeadline);
        if (!socket.isValid() || !isOwnedBy(socket.number(), endpoint, call.owner))
            continue;
        const bool isBounded = call.hold == Hold::never;
        const Deadline deadline = isBounded ? Clock::now() + patience : never;
        const int output = isBounded ? -1 : call.output;
        if (!send(socket.number(), call.head(endpoint), call.body, deadline, output))
            return std::nullopt;
        return receive(socket.number(), deadline, output);
    }
    return std::nullopt;
}

} // namespace hook
