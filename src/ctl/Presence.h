#pragma once

#include <string>

#include "core/JSONValue.h"

namespace ctl {

/// The snapshot's member "presence" as a sentence: mode, decision, idle time.
[[nodiscard]] std::string presenceText(const JSONValue& presence);

} // namespace ctl
