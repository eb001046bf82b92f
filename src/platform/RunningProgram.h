#pragma once

#include <sys/types.h>

/// Whether the file that a process of this user runs was replaced or removed since it was started:
/// it is an older program then. False when that cannot be told.
[[nodiscard]] bool runsReplacedFile(pid_t process);
