#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/Descriptor.h"

/// TCP on this machine, for the benchmarks' own ends.
namespace bench::loopback {

/// A port below the ephemeral range on which nobody listens now.
[[nodiscard]] std::uint16_t freePort();

/// @throws std::system_error when nobody listens there
[[nodiscard]] Descriptor connect(std::uint16_t port);

/// Waits until somebody listens.
/// @throws std::runtime_error after ten seconds
void waitForListener(std::uint16_t port);

/// Sends one request and gives all that comes back until the peer ends.
[[nodiscard]] std::string exchange(std::uint16_t port, std::string_view request);

/// Blocks until everything is sent.
void sendAll(const Descriptor& socket, std::string_view bytes);

} // namespace bench::loopback
