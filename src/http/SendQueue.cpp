#include "http/SendQueue.h"

#include <utility>

void SendQueue::append(std::string bytes) {
    if (!bytes.empty()) {
        m_unsentBytes += bytes.size();
        m_records.push_back({std::make_shared<const std::string>(std::move(bytes)), Kind::bytes});
    }
}

void SendQueue::appendState(std::shared_ptr<const std::string> record) {
    if (!record || record->empty())
        return;
    if (m_unsentBytes + record->size() > limit) {
        auto next = m_records.begin();
        if (m_sentOfFirst > 0)
            ++next;
        while (next != m_records.end()) {
            if (next->kind == Kind::state) {
                m_unsentBytes -= next->text->size();
                next = m_records.erase(next);
            } else {
                ++next;
            }
        }
    }
    m_unsentBytes += record->size();
    m_records.push_back({std::move(record), Kind::state});
}

std::size_t SendQueue::front(std::span<std::string_view> pieces) const {
    std::size_t count = 0;
    for (const Record& record : m_records) {
        if (count == pieces.size())
            break;
        pieces[count] = *record.text;
        if (count == 0)
            pieces[count].remove_prefix(m_sentOfFirst);
        ++count;
    }
    return count;
}

void SendQueue::consume(std::size_t count) {
    m_unsentBytes -= count;
    m_sentOfFirst += count;
    while (!m_records.empty() && m_sentOfFirst >= m_records.front().text->size()) {
        m_sentOfFirst -= m_records.front().text->size();
        m_records.pop_front();
    }
}

void SendQueue::clear() {
    m_records.clear();
    m_sentOfFirst = 0;
    m_unsentBytes = 0;
}
