#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/JSONValue.h"

/// Standard output of a command.
namespace ctl::output {

/// Writes the text as it is. What comes from outside is to be made visible before.
/// @throws std::system_error when it cannot be written, to a full disk for one
void write(std::string_view text);

/// The value in its pretty form, and a line feed. Characters that a terminal would not show are
/// escapes.
void writeJSON(const JSONValue& value);

/// A line with a name in the first column, and the text in the second.
void writeRow(std::string_view name, std::string_view text);

/// Null for nothing.
[[nodiscard]] JSONValue orNull(const std::optional<std::string>& text);

} // namespace ctl::output
