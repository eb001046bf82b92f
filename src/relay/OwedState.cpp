#include "relay/OwedState.h"

#include <utility>

using namespace std::chrono_literals;

namespace {

// Within so long one push tells of all changes.
constexpr auto gatheringTime = 100ms;
// States go out at most this often, and more rarely when they are long, however often a phone asks
// or a relay says that one has come: 100 ms for each MiB begun.
constexpr auto interval = 100ms;
constexpr std::size_t bytesPerInterval = 1 << 20;
// A relay that does not take what it is sent gets no further states until it has, so that no more
// than this and one state piles up.
constexpr std::size_t enoughUnsent = 4 << 20;

} // namespace

OwedState::OwedState(Scheduler& scheduler, Client client)
    : m_scheduler(scheduler), m_client(std::move(client)) {}

void OwedState::schedule(std::function<void()> oweAll) {
    changed();
    if (m_gathering)
        return;
    m_gathering = m_scheduler.after(gatheringTime, [this, oweAll = std::move(oweAll)] {
        m_gathering.reset();
        oweAll();
        send();
    });
}

void OwedState::send() {
    if (m_pause || m_phones.empty() || !m_client.unsentBytes())
        return;
    std::size_t size = 0;
    while (!m_phones.empty() && m_client.unsentBytes().value_or(0) <= enoughUnsent) {
        if (!m_message)
            m_message = m_client.encode(m_phones);
        if (!m_message) {
            m_phones.clear();
            break;
        }
        size = m_message->size();
        m_client.send(*m_message, m_phones.extract(m_phones.begin()).value());
    }
    if (m_phones.empty())
        m_message.reset();
    m_pause = m_scheduler.after(interval * (1 + size / bytesPerInterval), [this] {
        m_pause.reset();
        send();
    });
}

void OwedState::keepOnly(const std::set<std::string>& online) {
    std::erase_if(m_phones, [&](const std::string& phone) { return !online.contains(phone); });
}

void OwedState::forget() {
    m_phones.clear();
    m_message.reset();
    m_gathering.reset();
    m_pause.reset();
}
