#include "ctl/Duration.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "core/Localized.h"

namespace ctl {

namespace {

constexpr double minute = 60;
constexpr double hour = 60 * minute;

} // namespace

std::string durationText(double seconds) {
    if (seconds < 2 * minute)
        return localized("%lld 秒", {std::floor(seconds)});
    if (seconds < 2 * hour)
        return localized("%lld 分鐘", {std::floor(seconds / minute)});
    return localized("%lld 小時", {std::floor(seconds / hour)});
}

std::string countdownText(double milliseconds) {
    const auto seconds = static_cast<long>(std::ceil(std::clamp(milliseconds, 0.0, 1e9) / 1000));
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%ld:%02ld", seconds / 60, seconds % 60);
    return text.data();
}

} // namespace ctl
