#pragma once

#include <functional>
#include <optional>
#include <string>

#include "hooks/Hooks.h"
#include "hooks/LegacyDaemon.h"

/// Takes the place of the older version: stops it, puts our hooks in the place of its hooks, and
/// then has the server started again, since the port is free now. Blocks while launchctl runs.
///
/// @param restartServer begins it, a second later; called only when both went well
/// @param refresh begins to look anew at hooks and trust; called in any case, at the end
/// @return what to show as the error; nothing clears what is shown
[[nodiscard]] std::optional<std::string> takeOver(const LegacyDaemon& legacy, const Hooks& hooks,
                                                  const std::function<void()>& restartServer,
                                                  const std::function<void()>& refresh);
