#pragma once

#include <string>

#include "core/JSONValue.h"

namespace ctl {

/// "3 秒", "12 分鐘", "5 小時": how long, to the precision that matters.
[[nodiscard]] std::string durationText(double seconds);

/// The snapshot's member "presence" as a sentence: mode, decision, idle time.
[[nodiscard]] std::string presenceText(const JSONValue& presence);

} // namespace ctl
