#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "core/JSONValue.h"

/// The notification with which a user checks that pushes reach the phone and decrypt there.
namespace testpush {

/// What to tell the user, and whether it is good news.
struct Result {
    std::string text;
    bool succeeded = false;

    bool operator==(const Result&) const = default;
};

[[nodiscard]] JSONObject payload();

/// The outcome so far; nothing while the relay's report may still come.
///
/// @param lastPush the relay's last report; one from before `sentAt` does not count
/// @param now when this is asked
[[nodiscard]] std::optional<Result> result(const std::optional<JSONValue>& lastPush, bool connected,
                                           std::chrono::system_clock::time_point sentAt,
                                           std::chrono::system_clock::time_point now);

} // namespace testpush
