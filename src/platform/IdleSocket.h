#pragma once

#include <filesystem>

#include "core/Descriptor.h"
#include "platform/IdleSource.h"

/// Sockets and waits with a deadline, for the idle sources that talk to a display.
namespace idlesocket {

/// Connects without waiting: a server that has no room in its queue counts as not there.
/// @returns a non-blocking socket, or none
[[nodiscard]] Descriptor connectTo(const std::filesystem::path& path);

/// Whether there is something to read, or the other side has gone, by the deadline.
[[nodiscard]] bool waitReadable(int descriptor, idle::Deadline deadline);

} // namespace idlesocket
