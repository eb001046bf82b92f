#include "BareBroadcast.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>

#include "Loopback.h"
#include "ProcessorCost.h"
#include "platform/TCPSocket.h"

namespace bench {

BareBroadcast::BareBroadcast(std::uint16_t port, std::string text)
    : m_text(std::move(text)), m_listener(tcp::listenOn(*tcp::Address::parse("127.0.0.1", port))) {
    ::fcntl(m_listener.number(), F_SETFL, 0); // Waits.
}

void BareBroadcast::accept(int peers) {
    for (int i = 0; i < peers; ++i) {
        m_peers.emplace_back(::accept4(m_listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!m_peers.back().isValid())
            throw std::system_error(errno, std::system_category(), "accept");
    }
}

double BareBroadcast::writeToAll() const {
    const double before = ownMicroseconds();
    for (const Descriptor& peer : m_peers)
        loopback::sendAll(peer, m_text);
    return ownMicroseconds() - before;
}

} // namespace bench
