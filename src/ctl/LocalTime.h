#pragma once

#include <string>

/// Times of the calendar in the user's time zone, of milliseconds since 1970. "" for 0, which
/// stands for an unknown time, and for what is none.
namespace ctl {

/// "2025-01-31 08:15".
[[nodiscard]] std::string dateTimeText(double millisecondsSince1970);

/// "08:15:00".
[[nodiscard]] std::string timeOfDayText(double millisecondsSince1970);

} // namespace ctl
