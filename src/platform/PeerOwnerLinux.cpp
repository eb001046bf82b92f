#include "platform/PeerOwner.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>

#include "core/Descriptor.h"

namespace {

struct Question {
    nlmsghdr header;
    inet_diag_req_v2 request;
};

struct Answer {
    PeerOwner::Knowledge knowledge = PeerOwner::Knowledge::refused;
    uid_t user = 0;
    bool hasInode = false; ///< a file, that is: somebody has accepted it, or listens on it
};

// Whether the system does not answer such questions at all, rather than not now: short of
// descriptors or memory, nothing is known, and nothing may be said.
bool isRefusal(int error) {
    return error == EPERM || error == EACCES || error == EPROTONOSUPPORT || error == EAFNOSUPPORT ||
           error == EOPNOTSUPP || error == ENOSYS || error == EINVAL || error == ECONNREFUSED;
}

Answer failure(int error) {
    return {.knowledge =
                isRefusal(error) ? PeerOwner::Knowledge::refused : PeerOwner::Knowledge::unknown};
}

class SocketQuery {
  public:
    SocketQuery()
        : m_socket(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG)),
          m_error(errno) {}

    // About the socket that has `own` as its own end and is connected to `peer`, or, without one,
    // about the one that listens there.
    //
    // The kernel looks IPv4 addresses up among the sockets of both families, so this finds the
    // IPv6 socket through which a daemon on "::" serves 127.0.0.1.
    [[nodiscard]] Answer ask(const Endpoint& own, const Endpoint& peer) const {
        Question question{};
        question.header.nlmsg_len = sizeof question;
        question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
        question.header.nlmsg_flags = NLM_F_REQUEST;
        question.request.sdiag_family = static_cast<__u8>(own.family);
        question.request.sdiag_protocol = IPPROTO_TCP;
        question.request.idiag_states = ~0U;
        inet_diag_sockid& id = question.request.id;
        id.idiag_sport = htons(own.port);
        id.idiag_dport = htons(peer.port);
        std::memcpy(id.idiag_src, own.address.data(), sizeof id.idiag_src);
        std::memcpy(id.idiag_dst, peer.address.data(), sizeof id.idiag_dst);
        id.idiag_cookie[0] = id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;

        if (!m_socket.isValid())
            return failure(m_error);
        sockaddr_nl kernel{};
        kernel.nl_family = AF_NETLINK;
        if (::sendto(m_socket.number(), &question, sizeof question, 0,
                     reinterpret_cast<const sockaddr*>(&kernel), sizeof kernel) < 0)
            return failure(errno);
        return answer();
    }

  private:
    [[nodiscard]] Answer answer() const {
        // The kernel has answered by the time the question is sent.
        alignas(nlmsghdr) char buffer[4096];
        sockaddr_nl sender{};
        socklen_t senderLength = sizeof sender;
        const ssize_t length = ::recvfrom(m_socket.number(), buffer, sizeof buffer, MSG_DONTWAIT,
                                          reinterpret_cast<sockaddr*>(&sender), &senderLength);
        nlmsghdr header{};
        if (length < 0)
            return failure(errno);
        if (length < static_cast<ssize_t>(sizeof header) || sender.nl_pid != 0)
            return {.knowledge = PeerOwner::Knowledge::unknown};
        std::memcpy(&header, buffer, sizeof header);
        const std::size_t payload = static_cast<std::size_t>(length) - sizeof header;
        if (header.nlmsg_type == NLMSG_ERROR && payload >= sizeof(nlmsgerr)) {
            nlmsgerr error{};
            std::memcpy(&error, buffer + sizeof header, sizeof error);
            return error.error == -ENOENT ? Answer{.knowledge = PeerOwner::Knowledge::nobody}
                                          : failure(-error.error);
        }
        if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY || payload < sizeof(inet_diag_msg))
            return {};
        inet_diag_msg message{};
        std::memcpy(&message, buffer + sizeof header, sizeof message);
        return {.knowledge = PeerOwner::Knowledge::known,
                .user = message.idiag_uid,
                .hasInode = message.idiag_inode != 0};
    }

    Descriptor m_socket;
    int m_error; // Why there is no socket.
};

} // namespace

PeerOwner peerOwner(const Endpoint& own, const Endpoint& peer) {
    using Knowledge = PeerOwner::Knowledge;
    const SocketQuery query;
    Answer answer = query.ask(peer, own);
    if (answer.knowledge == Knowledge::known && !answer.hasInode) {
        // Nobody has accepted it, so it has no owner yet: older kernels say root's then.
        Endpoint nobody;
        nobody.family = own.family;
        answer = query.ask(peer, nobody);
    } else if (answer.knowledge == Knowledge::nobody &&
               query.ask(own, peer).knowledge != Knowledge::known) {
        // A kernel that does not even find our own end has no such table.
        answer.knowledge = Knowledge::refused;
    }
    return {.knowledge = answer.knowledge, .user = answer.user};
}

PeerOwner peerOwner(int socket) {
    sockaddr_storage own{};
    sockaddr_storage peer{};
    socklen_t ownLength = sizeof own;
    socklen_t peerLength = sizeof peer;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&own), &ownLength) != 0 ||
        ::getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &peerLength) != 0)
        return {.knowledge = PeerOwner::Knowledge::unknown};
    return peerOwner(Endpoint::from(own), Endpoint::from(peer));
}
