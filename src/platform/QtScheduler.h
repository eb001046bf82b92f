#pragma once

#include "platform/Scheduler.h"

/// The timers of Qt's event loop, exact to the millisecond. Only the constructor takes something of
/// the system that may run out. The timers may outlive the scheduler.
class QtScheduler final : public Scheduler {
  public:
    /// @throws std::system_error when the system has no timer to give
    QtScheduler();
    ~QtScheduler() override;

    [[nodiscard]] std::unique_ptr<Timer> after(std::chrono::milliseconds delay,
                                               std::function<void()> action) override;
    [[nodiscard]] std::unique_ptr<Timer> every(std::chrono::milliseconds period,
                                               std::function<void()> action) override;

  private:
    class Queue;
    class Once;
    class Repeating;
    std::shared_ptr<Queue> m_queue;
};
