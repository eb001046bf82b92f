#include "platform/SocketPoller.h"

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/epoll.h>

#include <QSocketNotifier>

#include "core/Descriptor.h"

namespace {

std::system_error lastError(const char* what) {
    return {errno, std::system_category(), what};
}

std::uint32_t toEvents(std::uint32_t interest) {
    return ((interest & SocketPoller::readable) != 0 ? std::uint32_t{EPOLLIN} : 0) |
           ((interest & SocketPoller::writable) != 0 ? std::uint32_t{EPOLLOUT} : 0);
}

std::uint32_t toReadiness(std::uint32_t events) {
    return ((events & EPOLLIN) != 0 ? std::uint32_t{SocketPoller::readable} : 0) |
           ((events & EPOLLOUT) != 0 ? std::uint32_t{SocketPoller::writable} : 0) |
           ((events & (EPOLLERR | EPOLLHUP)) != 0 ? std::uint32_t{SocketPoller::failed} : 0);
}

} // namespace

class SocketPoller::Implementation : public std::enable_shared_from_this<Implementation> {
  public:
    Implementation() : m_set(::epoll_create1(EPOLL_CLOEXEC)) {
        if (!m_set.isValid())
            throw lastError("epoll_create1");
        m_notifier = std::make_unique<QSocketNotifier>(m_set.number(), QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                         [this] { deliver(); });
    }

    void add(int descriptor, std::uint32_t interest, Callback callback) {
        const auto index = static_cast<std::size_t>(descriptor);
        if (index >= m_entries.size())
            m_entries.resize(index + 1);
        auto entry = std::make_shared<Entry>(Entry{std::move(callback), ++m_lastTicket, true});
        control(EPOLL_CTL_ADD, descriptor, interest, *entry);
        m_entries[index] = std::move(entry);
    }

    void setInterest(int descriptor, std::uint32_t interest) {
        if (const Entry* const entry = find(descriptor))
            control(EPOLL_CTL_MOD, descriptor, interest, *entry);
    }

    void remove(int descriptor) {
        if (Entry* const entry = find(descriptor)) {
            entry->isWatched = false;
            // Closing alone would leave the socket in the set while a forked child still has it.
            ::epoll_ctl(m_set.number(), EPOLL_CTL_DEL, descriptor, nullptr);
            m_entries[static_cast<std::size_t>(descriptor)].reset();
        }
    }

    // Ends all delivery, also that of the events of the present turn.
    void close() {
        m_isClosed = true;
        m_notifier.reset();
    }

  private:
    struct Entry {
        Callback callback;
        std::uint32_t ticket; // Tells the users of one descriptor number apart.
        bool isWatched;
    };

    [[nodiscard]] Entry* find(int descriptor) const {
        const auto index = static_cast<std::size_t>(descriptor);
        return index < m_entries.size() ? m_entries[index].get() : nullptr;
    }

    void control(int operation, int descriptor, std::uint32_t interest, const Entry& entry) const {
        epoll_event event{};
        event.events = toEvents(interest);
        event.data.u64 =
            std::uint64_t{entry.ticket} << 32U | static_cast<std::uint32_t>(descriptor);
        if (::epoll_ctl(m_set.number(), operation, descriptor, &event) != 0)
            throw lastError("epoll_ctl");
    }

    void deliver() {
        const auto self = shared_from_this();
        std::array<epoll_event, eventsPerTurn> events{};
        const int count = ::epoll_wait(m_set.number(), events.data(), eventsPerTurn, 0);
        for (int i = 0; i < count && !m_isClosed; ++i) {
            const epoll_event& event = events[static_cast<std::size_t>(i)];
            const auto index = static_cast<std::size_t>(event.data.u64 & 0xFFFF'FFFFU);
            const auto ticket = static_cast<std::uint32_t>(event.data.u64 >> 32U);
            const std::shared_ptr<Entry> entry =
                index < m_entries.size() ? m_entries[index] : nullptr;
            // An earlier callback of this turn may have removed the socket, and another may have
            // got its number since.
            if (entry && entry->ticket == ticket && entry->isWatched)
                entry->callback(toReadiness(event.events));
        }
    }

    Descriptor m_set;
    std::unique_ptr<QSocketNotifier> m_notifier;   // Goes before the set that it watches.
    std::vector<std::shared_ptr<Entry>> m_entries; // By descriptor.
    std::uint32_t m_lastTicket = 0;
    bool m_isClosed = false;
};

SocketPoller::SocketPoller() : m_implementation(std::make_shared<Implementation>()) {}

SocketPoller::~SocketPoller() {
    m_implementation->close();
}

void SocketPoller::add(int descriptor, std::uint32_t interest, Callback callback) {
    m_implementation->add(descriptor, interest, std::move(callback));
}

void SocketPoller::setInterest(int descriptor, std::uint32_t interest) {
    m_implementation->setInterest(descriptor, interest);
}

void SocketPoller::remove(int descriptor) {
    m_implementation->remove(descriptor);
}
