#pragma once

#include <optional>
#include <string>

#include "core/JSONValue.h"
#include "ctl/DaemonClient.h"

namespace ctl {

/// What the relay reported on a push.
struct PushReport {
    double phones = 0;  ///< that are registered for pushes
    double reached = 0; ///< of them
    double at = 0;      ///< when the report came, in milliseconds since 1970

    /// Nothing unless both numbers are there.
    [[nodiscard]] static std::optional<PushReport> from(const JSONValue& value);

    [[nodiscard]] bool isDelivered() const { return phones != 0 && reached >= 1; }
    [[nodiscard]] std::string text() const;
};

/// What became of a test push.
struct PushOutcome {
    std::optional<PushReport> report; ///< nothing when the relay did not answer in time
    std::string text;
    bool isDelivered = false;
};

/// Has the daemon send one, and waits for the relay's report: 2.5 seconds.
/// @throws DaemonError
[[nodiscard]] PushOutcome sendTestPush(const DaemonClient& daemon);

} // namespace ctl
