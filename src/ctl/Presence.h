#pragma once

#include <optional>
#include <string>

#include "core/Config.h"
#include "core/JSONValue.h"

namespace ctl {

/// Whether the daemon takes the user for away, and by what.
struct Presence {
    AwayMode mode = AwayMode::automatic;
    bool isAway = false;
    double idleSeconds = 0; ///< without input so far
    double idleMinutes = 0; ///< without input after which "auto" means away

    /// The snapshot's member "presence". Nothing when it is none.
    [[nodiscard]] static std::optional<Presence> from(const JSONValue& value);
    [[nodiscard]] static std::optional<Presence> in(const JSONValue& snapshot);
};

/// Mode, decision and idle time as a sentence.
[[nodiscard]] std::string textOf(const Presence& presence);

} // namespace ctl
