#include "platform/IdleUnit.h"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

using Seconds = std::chrono::duration<double>;

constexpr Seconds provenAfter = 10s;
// So many readings have to fit: two that are far apart may fit by chance.
constexpr int provenBy = 4;
// Readings closer together say nothing: a count of seconds has not moved yet.
constexpr Seconds telling = 1s;
// A count beyond any uptime is no count; it is also far from overflowing the conversion.
constexpr std::uint64_t largest = 100ull * 366 * 24 * 3600 * 1000;

} // namespace

std::chrono::milliseconds IdleUnit::duration(std::uint64_t count,
                                             std::chrono::steady_clock::time_point now) {
    count = std::min(count, largest);
    learn({count, now});
    const std::chrono::milliseconds result(static_cast<std::int64_t>(count));
    return m_countsSeconds ? result * 1000 : result;
}

void IdleUnit::learn(const Reading& reading) {
    if (m_last) {
        const Seconds step = reading.at - m_last->at;
        if (step < telling)
            return;
        const double growth =
            static_cast<double>(reading.count) - static_cast<double>(m_last->count);
        const double growthInAll =
            static_cast<double>(reading.count) - static_cast<double>(m_first->count);
        const Seconds inAll = reading.at - m_first->at;
        // Whole seconds: each of the two counts is cut by less than one.
        const bool fits = growth >= 0 && growthInAll >= 1 && growthInAll - inAll.count() <= 1 &&
                          inAll.count() - growthInAll <= 1;
        if (growth > 100 * step.count())
            m_countsSeconds = false;
        if (fits) {
            m_last = reading;
            if (++m_readings >= provenBy && inAll >= provenAfter)
                m_countsSeconds = true;
            return;
        }
    }
    m_first = m_last = reading;
    m_readings = 1;
}
