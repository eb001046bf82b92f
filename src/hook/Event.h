#pragma once

#include <cstddef>
#include <string_view>

#include "hook/Exchange.h"

namespace hook {

/// A larger event is dropped: the daemon does not take it either.
inline constexpr std::size_t maximumEvent = std::size_t{16} << 20;

/// Whether the daemon may keep the agent's event waiting for a person. Only what is surely another
/// event than the two that wait is never held; in doubt it may be, because giving up a question
/// is worse than waiting for an answer that does not come.
[[nodiscard]] Hold holdOf(std::string_view event);

} // namespace hook
