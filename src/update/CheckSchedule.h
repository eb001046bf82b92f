#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>

#include "core/Log.h"
#include "platform/Scheduler.h"

/// When the next update check is due: a minute after launch at the earliest, otherwise a day after
/// the last one and up to two hours later, so that not everybody comes at the same minute. It is
/// remembered across runs in a file {"nextCheck": milliseconds since 1970}, mode 0600.
///
/// A moment that is further away than any check is (the clock was set back, or the file is damaged)
/// is as good as none: the check is due, and writes a better one.
class CheckSchedule {
  public:
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    static constexpr std::chrono::minutes afterLaunch{1};
    static constexpr std::chrono::hours period{24};
    static constexpr std::chrono::hours maximumOffset{2};

    /// Waits from now on.
    /// @param check is called when one is due, which has begun then
    CheckSchedule(std::filesystem::path file, Scheduler& scheduler, Clock now, LogSink log,
                  std::function<void()> check);

    /// A check begins now, whoever wants it: the next one is due in a day.
    void begin();

  private:
    [[nodiscard]] std::chrono::milliseconds untilRemembered() const;
    void wait(std::chrono::milliseconds delay);

    const std::filesystem::path m_file;
    Scheduler& m_scheduler;
    const Clock m_now;
    const LogSink m_log;
    const std::function<void()> m_check;
    std::unique_ptr<Scheduler::Timer> m_timer;
};
