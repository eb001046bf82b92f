#pragma once

#include <chrono>
#include <functional>
#include <memory>

/// The event loop's timers, handed to whoever waits, so that a test can let the time pass.
class Scheduler {
  public:
    /// A running timer. Its end stops the timer; it may end inside its own action.
    class Timer {
      public:
        Timer() = default;
        Timer(const Timer&) = delete;
        Timer& operator=(const Timer&) = delete;
        virtual ~Timer() = default;
    };

    Scheduler() = default;
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;
    virtual ~Scheduler() = default;

    /// Runs the action once, on a clock that goes on while the computer sleeps.
    [[nodiscard]] virtual std::unique_ptr<Timer> after(std::chrono::milliseconds delay,
                                                       std::function<void()> action) = 0;
    /// Runs the action again and again, first after one period. It stands still while the computer
    /// sleeps.
    [[nodiscard]] virtual std::unique_ptr<Timer> every(std::chrono::milliseconds period,
                                                       std::function<void()> action) = 0;
};
