#pragma once

#include <string>

namespace ctl {

/// "3 秒", "12 分鐘", "5 小時": how long, to the precision that matters.
[[nodiscard]] std::string durationText(double seconds);

/// "9:05": minutes and seconds that are left; "0:00" when it is over.
[[nodiscard]] std::string countdownText(double milliseconds);

} // namespace ctl
