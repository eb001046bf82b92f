#include "daemon/Deadlines.h"

Deadlines::Deadlines(Callback expired) : m_expired(std::move(expired)) {
    QObject::connect(&m_timer, &DeadlineTimer::reached, &m_timer, [this] { expire(); });
}

void Deadlines::add(const std::string& id, std::chrono::nanoseconds wait) {
    cancel(id);
    const auto place = m_order.emplace(DeadlineTimer::now() + wait, id);
    m_byId.emplace(id, place);
    if (place == m_order.begin())
        arm();
}

void Deadlines::cancel(const std::string& id) {
    const auto found = m_byId.find(id);
    if (found == m_byId.end())
        return;
    const bool wasFirst = found->second == m_order.begin();
    m_order.erase(found->second);
    m_byId.erase(found);
    if (wasFirst)
        arm();
}

void Deadlines::expire() {
    const auto now = DeadlineTimer::now();
    while (!m_order.empty() && m_order.begin()->first <= now) {
        const std::string id = m_order.begin()->second;
        m_byId.erase(id);
        m_order.erase(m_order.begin());
        m_expired(id);
    }
    arm();
}

void Deadlines::arm() {
    m_timer.setDeadline(m_order.empty() ? std::nullopt : std::optional(m_order.begin()->first));
}
