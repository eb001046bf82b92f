#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/Scheduler.h"

/// Timers and a clock that move only when the test says so.
class FakeScheduler final : public Scheduler {
  public:
    [[nodiscard]] std::unique_ptr<Timer> after(std::chrono::milliseconds delay,
                                               std::function<void()> action) override {
        return add({m_elapsed + delay, std::nullopt, std::move(action)});
    }
    [[nodiscard]] std::unique_ptr<Timer> every(std::chrono::milliseconds period,
                                               std::function<void()> action) override {
        return add({m_elapsed + period, period, std::move(action)});
    }

    /// Lets time pass; whatever is due runs in its order.
    void pass(std::chrono::milliseconds time) {
        const auto end = m_elapsed + time;
        for (;;) {
            const auto next = std::ranges::min_element(
                m_alarms, {}, [](const auto& alarm) { return alarm->due; });
            if (next == m_alarms.end() || (*next)->due > end)
                break;
            const auto alarm = *next;
            m_elapsed = alarm->due;
            const auto action = alarm->action; // The timer may end inside it.
            if (alarm->period)
                alarm->due += *alarm->period;
            else
                std::erase(m_alarms, alarm);
            action();
        }
        m_elapsed = end;
    }

    /// The wall clock, which `pass` moves and `jump` alone.
    [[nodiscard]] std::chrono::system_clock::time_point now() const {
        return std::chrono::system_clock::time_point(m_start + m_elapsed);
    }
    void jump(std::chrono::milliseconds by) { m_start += by; }

    /// How many one-shot timers are running.
    [[nodiscard]] std::size_t waiting() const {
        return static_cast<std::size_t>(
            std::ranges::count_if(m_alarms, [](const auto& alarm) { return !alarm->period; }));
    }

  private:
    struct Alarm {
        std::chrono::milliseconds due;
        std::optional<std::chrono::milliseconds> period;
        std::function<void()> action;
    };

    class Running final : public Timer {
      public:
        Running(FakeScheduler& scheduler, std::shared_ptr<Alarm> alarm)
            : m_scheduler(scheduler), m_alarm(std::move(alarm)) {}
        ~Running() override { std::erase(m_scheduler.m_alarms, m_alarm); }

      private:
        FakeScheduler& m_scheduler;
        std::shared_ptr<Alarm> m_alarm;
    };

    std::unique_ptr<Timer> add(Alarm alarm) {
        m_alarms.push_back(std::make_shared<Alarm>(std::move(alarm)));
        return std::make_unique<Running>(*this, m_alarms.back());
    }

    std::chrono::milliseconds m_elapsed{0};
    std::chrono::milliseconds m_start{1'700'000'000'000};
    std::vector<std::shared_ptr<Alarm>> m_alarms;
};
