#pragma once

#include <string>

#include "core/JSONValue.h"
#include "hooks/Hooks.h"

namespace ctl {

/// {"claude": n, "codex": n or null, "scriptCurrent": bool, "legacy": bool, "error": text or null}
[[nodiscard]] JSONValue hooksJSON(const Hooks::Status& status);
/// "Claude Code 7/7、Codex 6/6"
[[nodiscard]] std::string hooksText(const Hooks::Status& status);

} // namespace ctl
