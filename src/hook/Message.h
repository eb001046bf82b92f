#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/Endpoint.h"

namespace hook {

/// The head of the one request: POST /hook.
/// @param commandLine the agent's, sent as Base64; without one the header is left out
/// @param client a name to send as it is; left out when it is empty or has control characters
[[nodiscard]] std::string requestHead(const Endpoint& to, std::size_t bodyLength,
                                      std::string_view commandLine, std::string_view client);

} // namespace hook
