#include "ctl/Moment.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace ctl {

namespace {

// The end of the year 9999: later years have no room.
constexpr double latest = 253'402'300'799'000;

} // namespace

std::string momentText(double millisecondsSince1970) {
    if (!(millisecondsSince1970 > 0 && millisecondsSince1970 <= latest))
        return {};
    const auto seconds = static_cast<std::time_t>(millisecondsSince1970 / 1000);
    std::tm parts{};
    std::array<char, 32> text{};
    if (!::localtime_r(&seconds, &parts) ||
        std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &parts) == 0)
        return {};
    return text.data();
}

std::string countdownText(double milliseconds) {
    const auto seconds = static_cast<long>(std::ceil(std::clamp(milliseconds, 0.0, 1e9) / 1000));
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%ld:%02ld", seconds / 60, seconds % 60);
    return text.data();
}

} // namespace ctl
