#pragma once

#include <chrono>
#include <string>

namespace wallclock {

/// Now, in milliseconds since 1970, rounded to a whole number.
[[nodiscard]] double milliseconds();

/// The same of another moment, not rounded.
[[nodiscard]] double milliseconds(std::chrono::system_clock::time_point moment);

/// ISO 8601 internet date-time in UTC with whole seconds (RFC 3339): 2025-01-31T08:15:00Z.
[[nodiscard]] std::string iso8601(double millisecondsSince1970);

} // namespace wallclock
