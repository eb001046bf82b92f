#pragma once

#include <filesystem>
#include <optional>

#include "ctl/Context.h"
#include "hooks/Hooks.h"

namespace ctl {

/// What Codex says of our hooks; nothing when it cannot be told. Waits for it, up to 8 seconds, and
/// for its end, up to two more. Runs an event loop of Qt's of its own.
/// @param codex the program, from `findCodex`
[[nodiscard]] std::optional<Hooks::CodexTrust> askCodex(const Context& context,
                                                        const std::filesystem::path& codex);

} // namespace ctl
