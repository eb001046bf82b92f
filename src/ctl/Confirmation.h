#pragma once

#include <string>

namespace ctl {

/// Asks at the terminal. Only "y" and "yes" agree; Return alone does not.
/// @param question a sentence
/// @throws DaemonError when the answer is no, and when there is no terminal to ask at
void confirm(const std::string& question);

} // namespace ctl
