#include "http/RequestTarget.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/Text.h"

namespace {

constexpr std::string_view subDelimiters = "!$&'()*+,;=";

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::optional<unsigned> hexDigit(char c) {
    if (isDigit(c))
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A' + 10);
    return std::nullopt;
}

// The decoded text; nothing when it holds anything but unreserved characters, sub-delimiters, the
// characters of `alsoAllowed` and escapes, or when it decodes to something else than UTF-8.
std::optional<std::string> decoded(std::string_view text, std::string_view alsoAllowed) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '%') {
            if (text.size() - i < 3)
                return std::nullopt;
            const auto high = hexDigit(text[i + 1]);
            const auto low = hexDigit(text[i + 2]);
            if (!high || !low)
                return std::nullopt;
            result += static_cast<char>(*high << 4U | *low);
            i += 2;
        } else if (isLetter(c) || isDigit(c) ||
                   std::string_view("-._~").find(c) != std::string_view::npos ||
                   subDelimiters.find(c) != std::string_view::npos ||
                   alsoAllowed.find(c) != std::string_view::npos) {
            result += c;
        } else {
            return std::nullopt;
        }
    }
    if (!text::isASCII(result) && text::repaired(result) != result)
        return std::nullopt;
    return result;
}

bool isScheme(std::string_view text) {
    return !text.empty() && isLetter(text.front()) &&
           std::all_of(text.begin(), text.end(), [](char c) {
               return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
           });
}

bool isAuthority(std::string_view text) {
    if (const auto at = text.find('@'); at != std::string_view::npos) {
        if (!decoded(text.substr(0, at), ":"))
            return false;
        text.remove_prefix(at + 1);
    }
    std::string_view port;
    if (text.starts_with('[')) {
        const auto end = text.find(']');
        if (end == std::string_view::npos || !decoded(text.substr(1, end - 1), ":"))
            return false;
        port = text.substr(end + 1);
    } else {
        const auto colon = std::min(text.find(':'), text.size());
        if (!decoded(text.substr(0, colon), ""))
            return false;
        port = text.substr(colon);
    }
    return port.empty() ||
           (port.front() == ':' && std::all_of(port.begin() + 1, port.end(), isDigit));
}

// Cuts off and gives back what stands before the first of `delimiters`, or everything.
std::string_view takeUntil(std::string_view& rest, std::string_view delimiters) {
    const auto end = std::min(rest.find_first_of(delimiters), rest.size());
    const auto part = rest.substr(0, end);
    rest.remove_prefix(end);
    return part;
}

// Nobody asks for more, and reading a megabyte of them would keep everybody else waiting.
constexpr std::size_t maximumItems = 1000;

bool readQuery(std::string_view text, RequestTarget& target) {
    while (true) {
        const auto item = takeUntil(text, "&");
        const auto equals = std::min(item.find('='), item.size());
        auto name = decoded(item.substr(0, equals), ":@/?");
        auto value = decoded(item.substr(std::min(equals + 1, item.size())), ":@/?");
        if (!name || !value)
            return false;
        target.query.insert_or_assign(std::move(*name), std::move(*value));
        if (target.query.size() > maximumItems)
            return false;
        if (text.empty())
            return true;
        text.remove_prefix(1);
    }
}

} // namespace

std::optional<RequestTarget> RequestTarget::parse(std::string_view reference) {
    // The order of RFC 3986 appendix B: scheme, authority, path, query, fragment.
    std::string_view rest = reference;
    if (const auto end = rest.find_first_of(":/?#");
        end != std::string_view::npos && rest[end] == ':') {
        if (!isScheme(rest.substr(0, end)))
            return std::nullopt;
        rest.remove_prefix(end + 1);
    }
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        if (!isAuthority(takeUntil(rest, "/?#")))
            return std::nullopt;
    }
    auto path = decoded(takeUntil(rest, "?#"), ":@/");
    if (!path)
        return std::nullopt;
    RequestTarget target;
    target.path = std::move(*path);
    if (rest.starts_with('?')) {
        rest.remove_prefix(1);
        const auto query = takeUntil(rest, "#");
        if (!query.empty() && !readQuery(query, target))
            return std::nullopt;
    }
    if (rest.starts_with('#') && !decoded(rest.substr(1), ":@/?"))
        return std::nullopt;
    return target;
}
