#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

/// The ids of the messages that were opened, each with the time that the message carried. Looking
/// one up and forgetting the oldest cost the same however many there are.
class ReplayMemory {
  public:
    [[nodiscard]] bool contains(const std::string& id) const { return m_times.contains(id); }
    [[nodiscard]] std::size_t size() const { return m_times.size(); }

    /// @param time milliseconds since 1970
    void record(const std::string& id, double time) {
        if (m_times.emplace(id, time).second)
            m_oldestFirst.emplace(time, id);
    }

    /// Those of that time stay.
    void forgetBefore(double time) {
        while (!m_oldestFirst.empty() && m_oldestFirst.begin()->first < time) {
            m_times.erase(m_oldestFirst.begin()->second);
            m_oldestFirst.erase(m_oldestFirst.begin());
        }
    }

  private:
    std::unordered_map<std::string, double> m_times;
    std::set<std::pair<double, std::string>> m_oldestFirst;
};
