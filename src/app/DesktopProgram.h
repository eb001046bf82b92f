#pragma once

#include <chrono>

#include "platform/Bundle.h"

/// Replaces this process by the desktop program, with the same process id and arguments, as soon as
/// a display takes connections; a program that is started at log-in may be earlier than its
/// display. It returns only when that is not to be, and says why in the log: the desktop program is
/// not installed, there is no display, or it has not become reachable in time.
/// @param arguments ends with a null pointer
/// @param patience how long a display that is named, but not reachable, is tried again; this blocks
void becomeDesktopProgram(const Bundle& bundle, char* const arguments[],
                          std::chrono::milliseconds patience);

/// The same the other way round, for a desktop program that finds itself without a display: this
/// process becomes `tamsell --headless`.
/// @throws std::system_error when it cannot
[[noreturn]] void becomeHeadless(const Bundle& bundle);
