#include "relayd/Budget.h"

#include <algorithm>
#include <cmath>

void Budget::refill(Moment now) {
    const double seconds = std::chrono::duration<double>(now - m_at).count();
    m_left = std::min(m_most, m_left + std::max(0.0, seconds) * m_perSecond);
    m_at = now;
}

bool Budget::spend(Moment now) {
    refill(now);
    if (m_left < 1)
        return false;
    m_left -= 1;
    return true;
}

std::chrono::milliseconds Budget::owe(Moment now) {
    refill(now);
    m_left -= 1;
    if (m_left >= 0)
        return {};
    return std::chrono::milliseconds(static_cast<int>(std::ceil(-m_left / m_perSecond * 1000)));
}

bool Budget::isEmpty(Moment now) {
    refill(now);
    return m_left < 1;
}

bool Budget::isFull(Moment now) {
    refill(now);
    return m_left >= m_most;
}

bool AddressBudgets::spend(const std::string& address, Moment now) {
    const auto known = m_budgets.find(address);
    if (known != m_budgets.end())
        return known->second.spend(now);
    if (m_budgets.size() >= m_maximum)
        makeRoom(now);
    return m_budgets.emplace(address, Budget(m_most, m_perSecond, now)).first->second.spend(now);
}

bool AddressBudgets::isEmpty(const std::string& address, Moment now) {
    const auto known = m_budgets.find(address);
    return known != m_budgets.end() && known->second.isEmpty(now);
}

void AddressBudgets::makeRoom(Moment now) {
    for (auto at = m_budgets.begin(); at != m_budgets.end();)
        at = at->second.isFull(now) ? m_budgets.erase(at) : std::next(at);
    // A flood from more addresses than that: any of them, so that the table stays bounded, and
    // many, so that not every address of the flood has all others looked at.
    while (m_budgets.size() > m_maximum - m_maximum / 16 - 1)
        m_budgets.erase(m_budgets.begin());
}
