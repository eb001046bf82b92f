#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "crypto/Hash.h"

/// The ids of the messages that were opened, each with the time that the message carried. Looking
/// one up and forgetting the oldest cost the same however many there are, and an id takes the same
/// space however long it is.
class ReplayMemory {
  public:
    [[nodiscard]] bool contains(const std::string& id) const { return m_times.contains(keyOf(id)); }
    [[nodiscard]] std::size_t size() const { return m_times.size(); }

    /// @param time milliseconds since 1970
    void record(const std::string& id, double time) {
        const std::string key = keyOf(id);
        if (m_times.emplace(key, time).second)
            m_oldestFirst.emplace(time, key);
    }

    /// Those of that time stay.
    void forgetBefore(double time) {
        while (!m_oldestFirst.empty() && m_oldestFirst.begin()->first < time) {
            m_times.erase(m_oldestFirst.begin()->second);
            m_oldestFirst.erase(m_oldestFirst.begin());
        }
    }

  private:
    static std::string keyOf(const std::string& id) {
        const auto digest = hash::sha256(id);
        return {digest.begin(), digest.end()};
    }

    std::unordered_map<std::string, double> m_times;
    std::set<std::pair<double, std::string>> m_oldestFirst;
};
