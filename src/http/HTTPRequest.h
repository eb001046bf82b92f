#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "core/JSONValue.h"

/// One parsed HTTP/1.1 request (RFC 9112), built once by the parser.
struct HTTPRequest {
    /// Header fields beyond these are not kept: no agent or browser sends as many, and reading
    /// megabytes of them would keep everybody else waiting.
    static constexpr std::size_t maximumFields = 1000;

    std::string method;                                      ///< exactly as sent
    std::string path = "/";                                  ///< percent-decoded, without the query
    std::map<std::string, std::string, std::less<>> query;   ///< percent-decoded; the last wins
    std::map<std::string, std::string, std::less<>> headers; ///< names in lower case; the last wins
    std::string body;
    bool isLocal = false; ///< whether the peer's address is a loopback address

    /// The body's members when it is a JSON object, else none.
    [[nodiscard]] JSONObject jsonObject() const;
    /// The value of a header by its lower-case name; null when it was not sent.
    [[nodiscard]] const std::string* header(std::string_view name) const;
};
