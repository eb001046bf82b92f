#include "core/Clock.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace wallclock {

double milliseconds() {
    return std::round(milliseconds(std::chrono::system_clock::now()));
}

double milliseconds(std::chrono::system_clock::time_point moment) {
    return std::chrono::duration<double, std::milli>(moment.time_since_epoch()).count();
}

std::string iso8601(double millisecondsSince1970) {
    const auto seconds = static_cast<std::time_t>(std::floor(millisecondsSince1970 / 1000));
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char buffer[40];
    const std::size_t length = std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return {buffer, length};
}

} // namespace wallclock
