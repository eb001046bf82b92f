#pragma once

#include <functional>
#include <string>
#include <string_view>

/// Takes one message of the log, without time and line feed.
using LogSink = std::function<void(std::string_view message)>;

namespace logging {

/// The line that stands for a message: the time in ISO 8601 (UTC), a space, the message with
/// everything made visible that could forge a line or hide text, a line feed. Cut at 4 KiB.
[[nodiscard]] std::string line(double millisecondsSince1970, std::string_view message);

/// Writes that line to standard output with one write. Errors are ignored, since there is nowhere
/// to report them, and a line is dropped while whoever reads the output does not keep up.
void writeToStandardOutput(std::string_view message);

} // namespace logging
