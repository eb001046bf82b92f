#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <unordered_map>

/// A moment of a clock that only goes forward, as the caller has it.
using Moment = std::chrono::steady_clock::time_point;

/// A token bucket: so many at once, and one more at regular times.
class Budget {
  public:
    Budget(double most, double perSecond, Moment now)
        : m_most(most), m_perSecond(perSecond), m_left(most), m_at(now) {}

    /// Spends one. Without one nothing is spent.
    [[nodiscard]] bool spend(Moment now);
    /// Spends one even when there is none, which makes the wait longer.
    /// @return how long until there is one again; zero when there still was
    std::chrono::milliseconds owe(Moment now);
    [[nodiscard]] bool isEmpty(Moment now);
    [[nodiscard]] bool isFull(Moment now);

  private:
    void refill(Moment now);

    double m_most;
    double m_perSecond;
    double m_left;
    Moment m_at;
};

/// A budget for each address. It remembers only those that have spent some of it, and of too many
/// of these any.
class AddressBudgets {
  public:
    AddressBudgets(double most, std::chrono::seconds every, std::size_t maximumAddresses)
        : m_most(most),
          m_perSecond(1.0 / static_cast<double>(every.count())),
          m_maximum(maximumAddresses) {}

    [[nodiscard]] bool spend(const std::string& address, Moment now);
    [[nodiscard]] bool isEmpty(const std::string& address, Moment now);

  private:
    void makeRoom(Moment now);

    const double m_most;
    const double m_perSecond;
    const std::size_t m_maximum;
    std::unordered_map<std::string, Budget> m_budgets;
};
