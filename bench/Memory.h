#pragma once

#include <cstdint>

#include <sys/types.h>

namespace bench {

/// The proportional set size: pages of its own, plus its share of those that others map as well.
/// @throws std::runtime_error when the system does not tell
[[nodiscard]] double proportionalBytes(pid_t process);

/// The same as if it shared no page with another process.
/// @throws std::runtime_error when the system does not tell
[[nodiscard]] double residentBytes(pid_t process);

/// How often the process's threads went to sleep and were woken, by themselves.
/// @throws std::runtime_error when the system does not tell
[[nodiscard]] std::uint64_t voluntarySwitches(pid_t process);

} // namespace bench
