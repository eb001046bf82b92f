#pragma once

#include <vector>

#include "Process.h"

namespace bench {

/// What runs of one program took, in milliseconds.
struct Runs {
    Command command;
    std::vector<double> elapsed{};
    std::vector<double> processor{};
};

/// Runs the program from its start to its end.
/// @throws std::runtime_error when it fails
void runOnce(Runs& runs);

} // namespace bench
