#pragma once

#include <filesystem>
#include <string>

#include "core/JSONValue.h"
#include "hooks/Hooks.h"

namespace ctl {

/// {"claude": n, "codex": n or null, "scriptCurrent": bool, "legacy": bool, "error": text or null}
[[nodiscard]] JSONValue hooksJSON(const Hooks::Status& status);
/// Whether a file is there that this user may not read. To the installer it is an empty one.
[[nodiscard]] bool isUnreadable(const std::filesystem::path& path);
/// "6/7"
[[nodiscard]] std::string shareText(int count, std::size_t all);
/// "Claude Code 7/7、Codex 6/6", and what is wrong
[[nodiscard]] std::string hooksText(const Hooks::Status& status);

} // namespace ctl
