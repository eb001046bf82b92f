#pragma once

#include <functional>

#include "core/JSONValue.h"
#include "ctl/Context.h"

namespace ctl {

/// What becomes of a configuration file that was changed.
enum class EditOutcome {
    shown,     ///< the running daemon has it in force
    notRunning ///< it lies in the file, for the daemon that is started next
};

/// Changes config.json as a person with an editor would: reads it, makes the change, replaces the
/// file unless somebody else changed it meanwhile, and waits for the daemon to show it. The daemon
/// writes the same file, so it is tried once more when the change got lost.
///
/// @param change may be called more than once
/// @param isShown whether this snapshot of the daemon shows the change
/// @throws DaemonError when it cannot be done; std::system_error when the file cannot be written
EditOutcome editConfig(const Context& context, const std::function<void(JSONObject&)>& change,
                       const std::function<bool(const JSONValue& snapshot)>& isShown);

} // namespace ctl
