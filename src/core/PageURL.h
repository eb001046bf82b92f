#pragma once

#include <string>
#include <string_view>

/// The web page's place on its server, with the access token in it: from "/" on.
/// @param token any text; it is percent-encoded (RFC 3986 section 2.1)
[[nodiscard]] std::string pageTarget(std::string_view token);

/// The whole address.
/// @param authority of the server, as it stands in a URL: "127.0.0.1:8787"
[[nodiscard]] std::string pageURL(std::string_view authority, std::string_view token);
