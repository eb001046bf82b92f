#pragma once

#include <optional>
#include <string>

#include "platform/IdleSource.h"

/// What XCB waits for without a bound, found out with one.
namespace x11socket {

/// Whether the server of a display on this computer (":0", "unix:1.0") answers by the deadline.
/// Nothing when the display is elsewhere or nobody listens at the file of its socket.
[[nodiscard]] std::optional<bool> answers(const std::string& display, idle::Deadline deadline);

} // namespace x11socket
