#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "core/Descriptor.h"

namespace hook {

using ::Descriptor;

/// What a bounded read came to.
enum class ReadEnd { whole, cut, failed };

/// Appends what the descriptor still has, up to its end or until `text` has more than `limit`
/// bytes (then it is `cut`, and how much of the rest was read is unspecified). It waits for a
/// descriptor that does not block, too.
[[nodiscard]] ReadEnd readAll(int descriptor, std::size_t limit, std::string& text);

/// The file's first `limit` bytes at most, or nothing when it cannot be opened or read.
[[nodiscard]] std::optional<std::string> readFile(const std::string& path, std::size_t limit);

} // namespace hook
