#pragma once

#include <string>

namespace ctl {

/// "2025-01-31 08:15" in the user's time zone. Nothing for 0, which stands for an unknown moment,
/// and for what is none.
[[nodiscard]] std::string momentText(double millisecondsSince1970);

/// "9:05": minutes and seconds that are left; "0:00" when it is over.
[[nodiscard]] std::string countdownText(double milliseconds);

} // namespace ctl
