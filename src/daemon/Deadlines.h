#pragma once

#include <functional>
#include <map>
#include <string>
#include <unordered_map>

#include "platform/DeadlineTimer.h"

/// When waiting items end by themselves: any number of named deadlines behind one timer.
class Deadlines {
  public:
    /// Called from the event loop, once for each deadline that was reached and not cancelled. It
    /// may add and cancel any.
    using Callback = std::function<void(const std::string& id)>;

    explicit Deadlines(Callback expired);

    /// @param wait from now; replaces an earlier deadline of that id
    void add(const std::string& id, std::chrono::nanoseconds wait);
    void cancel(const std::string& id);

  private:
    using Order = std::multimap<DeadlineTimer::Moment, std::string>;

    void expire();
    void arm();

    Callback m_expired;
    DeadlineTimer m_timer;
    Order m_order;
    std::unordered_map<std::string, Order::iterator> m_byId;
};
