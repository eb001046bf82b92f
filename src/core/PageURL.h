#pragma once

#include <string>
#include <string_view>

/// The address of the web page, with the access token in it.
/// @param authority of the server, as it stands in a URL: "127.0.0.1:8787"
/// @param token any text; it is percent-encoded (RFC 3986 section 2.1)
[[nodiscard]] std::string pageURL(std::string_view authority, std::string_view token);
