#pragma once

#include <memory>
#include <optional>

#include "core/Locations.h"
#include "platform/LaunchSocket.h"

/// What this launch of the program is to others with the same settings. Neither member is set where
/// there is no socket to be had; the log says so, and nothing but later launches depends on it.
struct Launch {
    std::unique_ptr<FirstLaunch> first; ///< this one
    std::optional<LaunchAnswer> answer; ///< of the one that is

    /// One with an interface: the first is asked to show itself. Blocks for some seconds at most.
    [[nodiscard]] static Launch withInterface(const Locations& locations);
    /// One without: it answers later ones, and goes on beside an earlier one, saying so in the log.
    [[nodiscard]] static Launch headless(const Locations& locations);
};
