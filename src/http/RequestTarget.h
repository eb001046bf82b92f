#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

/// The parts of a request target that routes look at.
struct RequestTarget {
    std::string path; ///< percent-decoded; empty when the reference has none
    std::map<std::string, std::string, std::less<>> query; ///< percent-decoded; the last wins

    /// Reads a URI reference (RFC 3986 section 4.1), absolute or relative. "+" stays "+", and a
    /// query item without "=" has an empty value. Nothing when a character or a percent escape is
    /// not allowed where it stands, or when what is decoded is not UTF-8.
    [[nodiscard]] static std::optional<RequestTarget> parse(std::string_view reference);
};
