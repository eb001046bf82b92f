#include "ctl/LocalTime.h"

#include <array>
#include <ctime>

namespace ctl {

namespace {

// The end of the year 9999: later years have no room.
constexpr double latest = 253'402'300'799'000;

// @param format of strftime(3)
std::string formatted(double millisecondsSince1970, const char* format) {
    if (!(millisecondsSince1970 > 0 && millisecondsSince1970 <= latest))
        return {};
    const auto seconds = static_cast<std::time_t>(millisecondsSince1970 / 1000);
    std::tm parts{};
    std::array<char, 32> text{};
    if (!::localtime_r(&seconds, &parts) ||
        std::strftime(text.data(), text.size(), format, &parts) == 0)
        return {};
    return text.data();
}

} // namespace

std::string dateTimeText(double millisecondsSince1970) {
    return formatted(millisecondsSince1970, "%Y-%m-%d %H:%M");
}

std::string timeOfDayText(double millisecondsSince1970) {
    return formatted(millisecondsSince1970, "%H:%M:%S");
}

} // namespace ctl
