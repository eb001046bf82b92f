#include "StreamReaders.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <sys/epoll.h>
#include <sys/socket.h>

#include "Loopback.h"

namespace bench {

StreamReaders::StreamReaders(std::uint16_t port, const std::string& request, int count)
    : m_set(epoll_create1(EPOLL_CLOEXEC)), m_buffer(std::size_t{1} << 20) {
    for (int i = 0; i < count; ++i) {
        Stream stream;
        stream.socket = loopback::connect(port);
        loopback::sendAll(stream.socket, request);
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u64 = m_streams.size();
        epoll_ctl(m_set.number(), EPOLL_CTL_ADD, stream.socket.number(), &event);
        m_streams.push_back(std::move(stream));
    }
    awaitRecord();
}

void StreamReaders::awaitRecord() {
    ++m_awaited;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::ranges::any_of(
        m_streams, [this](const Stream& stream) { return stream.records < m_awaited; })) {
        std::array<epoll_event, 64> events{};
        const int count = epoll_wait(m_set.number(), events.data(), events.size(), 1000);
        for (int i = 0; i < count; ++i)
            read(m_streams[events[static_cast<std::size_t>(i)].data.u64]);
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("a record did not come on every stream");
    }
}

// Records end in an empty line, and the text of a record has no line feed of its own.
void StreamReaders::read(Stream& stream) {
    const ssize_t count =
        ::recv(stream.socket.number(), m_buffer.data(), m_buffer.size(), MSG_DONTWAIT);
    if (count <= 0)
        throw std::runtime_error("a stream ended");
    std::string_view rest(m_buffer.data(), static_cast<std::size_t>(count));
    while (!rest.empty()) {
        const std::size_t end = rest.find('\n');
        const std::size_t length = end == std::string_view::npos ? rest.size() : end + 1;
        const bool isEmptyLine = stream.endedInLineFeed && rest.front() == '\n';
        if (stream.unfinished == 0)
            stream.isComment = rest.front() == ':';
        stream.unfinished += length;
        stream.endedInLineFeed = end != std::string_view::npos;
        rest.remove_prefix(length);
        if (isEmptyLine) {
            const std::size_t size = std::exchange(stream.unfinished, 0);
            if (!stream.isComment) {
                ++stream.records;
                stream.recordSize = size;
            }
        }
    }
}

} // namespace bench
