#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "core/Config.h"

/// Whether the user is away.
namespace presence {

/// The seconds that TAMSELL_FORCE_IDLE gives instead of the measured ones: nothing unless the whole
/// text is a finite decimal number.
[[nodiscard]] std::optional<double> forcedIdleSeconds(const EnvironmentLookup& environment);

/// The decision. Only mode auto asks for the idle seconds, since asking may cost something.
[[nodiscard]] bool isAway(const Config& config, const std::function<double()>& idleSeconds);

/// The snapshot's member "presence".
[[nodiscard]] JSONObject toJSON(const Config& config, bool away, double idleSeconds);

} // namespace presence
