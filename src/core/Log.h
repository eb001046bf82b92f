#pragma once

#include <concepts>
#include <functional>
#include <string>
#include <string_view>

/// One message of the log, without time and line feed. It refers to the text.
struct LogMessage {
    template <std::convertible_to<std::string_view> Text>
    LogMessage(const Text& message) : text(message) {} // NOLINT(google-explicit-constructor)

    /// A message that takes several lines. Its line feeds must be this program's own.
    [[nodiscard]] static LogMessage ofSeveralLines(std::string_view text) {
        LogMessage message(text);
        message.keepsLineFeeds = true;
        return message;
    }

    std::string_view text;
    bool keepsLineFeeds = false;
};

using LogSink = std::function<void(const LogMessage& message)>;

namespace logging {

/// The line that stands for a message: the time in ISO 8601 (UTC), a space, the message with
/// everything made visible that could forge a line or hide text, a line feed. Cut at 4 KiB.
[[nodiscard]] std::string line(double millisecondsSince1970, const LogMessage& message);

/// Writes that line to standard output with one write. Errors are ignored, since there is nowhere
/// to report them, and a line is dropped while whoever reads the output does not keep up.
void writeToStandardOutput(const LogMessage& message);

} // namespace logging
