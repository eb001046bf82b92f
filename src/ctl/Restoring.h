#pragma once

#include "ctl/ConfigEdit.h"
#include "ctl/Context.h"

namespace ctl {

/// Writes config.json from config.json.last-good, which is then gone. A damaged config.json is kept
/// as config.json.damaged first.
/// @throws DaemonError when there is nothing to restore, or as `editConfig`
EditOutcome restoreLastGood(const Context& context);

} // namespace ctl
