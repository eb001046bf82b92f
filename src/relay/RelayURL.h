#pragma once

#include <optional>
#include <string>

#include "core/Config.h"

/// The addresses that follow from the relay's URL.
namespace relayurl {

/// Whether the text is a URL with a host, and without a user's name or password: it is logged, and
/// part of what everybody who pairs gets to see.
[[nodiscard]] bool isUsable(const std::string& url);

/// Where this computer connects: "wss" for a relay URL of the scheme "https", else "ws"; the path
/// /ws/CHANNEL in place of the relay URL's own, and the query role=mac&auth=TOKEN. Nothing when the
/// relay URL is not usable. The text is a secret, because of the token.
[[nodiscard]] std::optional<std::string> webSocket(const RelayConfig& relay);

} // namespace relayurl
