#include "update/CheckSchedule.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <system_error>
#include <utility>

#include "core/AtomicFile.h"
#include "core/Clock.h"
#include "core/File.h"
#include "core/JSONValue.h"

namespace {

using std::chrono::milliseconds;

// What is written there takes forty bytes.
constexpr std::size_t maximumFile = 4096;
constexpr const char* member = "nextCheck";

milliseconds randomOffset() {
    std::random_device device;
    return milliseconds(std::uniform_int_distribution<milliseconds::rep>(
        0, milliseconds(CheckSchedule::maximumOffset).count())(device));
}

} // namespace

CheckSchedule::CheckSchedule(std::filesystem::path file, Scheduler& scheduler, Clock now,
                             LogSink log, std::function<void()> check)
    : m_file(std::move(file)),
      m_scheduler(scheduler),
      m_now(std::move(now)),
      m_log(std::move(log)),
      m_check(std::move(check)) {
    wait(std::max<milliseconds>(afterLaunch, untilRemembered()));
}

void CheckSchedule::begin() {
    const milliseconds delay = period + randomOffset();
    // Remembered before the check, so that one that ends the program does not come at every start.
    try {
        const double next = std::round(wallclock::milliseconds(m_now() + delay));
        atomicfile::write(m_file, json::pretty(JSONObject{{member, next}}) + "\n", 0600);
    } catch (const std::system_error& error) {
        m_log("tamsell: cannot remember the next update check: " + std::string(error.what()));
    }
    wait(delay);
}

milliseconds CheckSchedule::untilRemembered() const {
    const auto text = file::readStart(m_file.string(), maximumFile);
    const auto value = text ? JSONValue::parse(*text) : std::nullopt;
    const JSONValue* const next = value ? (*value)[member] : nullptr;
    const double delay = next ? next->number().value_or(0) - wallclock::milliseconds(m_now()) : 0;
    const double maximum =
        std::chrono::duration<double, std::milli>(period + maximumOffset).count();
    return milliseconds(static_cast<milliseconds::rep>(delay > 0 && delay <= maximum ? delay : 0));
}

void CheckSchedule::wait(milliseconds delay) {
    m_timer = m_scheduler.after(delay, [this] {
        begin();
        m_check();
    });
}
