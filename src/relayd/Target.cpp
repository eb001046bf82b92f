#include "relayd/Target.h"

#include <algorithm>

namespace {

constexpr std::size_t nameLength = 22;
constexpr std::size_t hashLength = 43;
constexpr std::size_t longestToken = 128;

bool isBase64URL(std::string_view text) {
    return std::ranges::all_of(text, [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
}

bool isToken(std::string_view text) {
    return !text.empty() && text.size() <= longestToken && isBase64URL(text);
}

// The value of the first item of that name. Nothing here needs percent-encoding.
std::string_view itemOf(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::string_view item = query.substr(0, query.find('&'));
        if (item.size() > name.size() && item.starts_with(name) && item[name.size()] == '=')
            return item.substr(name.size() + 1);
        query.remove_prefix(std::min(item.size() + 1, query.size()));
    }
    return {};
}

std::optional<Credentials> checked(Credentials credentials) {
    const bool hasDevice = credentials.role != Credentials::Role::computer;
    if (!isName(credentials.channel) || !isToken(credentials.token) ||
        (hasDevice && !isName(credentials.device)))
        return std::nullopt;
    return credentials;
}

} // namespace

bool isName(std::string_view text) {
    return text.size() == nameLength && isBase64URL(text);
}

bool isHash(std::string_view text) {
    return text.size() == hashLength && isBase64URL(text);
}

std::optional<Credentials> webSocketCredentials(std::string_view target) {
    constexpr std::string_view prefix = "/ws/";
    const std::size_t question = target.find('?');
    if (!target.starts_with(prefix) || question == std::string_view::npos)
        return std::nullopt;
    const std::string channel(target.substr(prefix.size(), question - prefix.size()));
    const std::string_view query = target.substr(question + 1);
    const std::string_view role = itemOf(query, "role");
    using Role = Credentials::Role;
    if (role == "mac")
        return checked({.role = Role::computer,
                        .channel = channel,
                        .device = {},
                        .token = std::string(itemOf(query, "auth"))});
    const std::string device(itemOf(query, "device"));
    if (role == "phone")
        return checked({.role = Role::phone,
                        .channel = channel,
                        .device = device,
                        .token = std::string(itemOf(query, "auth"))});
    if (role == "pair")
        return checked({.role = Role::pairing,
                        .channel = channel,
                        .device = device,
                        .token = std::string(itemOf(query, "invite"))});
    return std::nullopt;
}

std::optional<Credentials> messagesCredentials(std::string_view target,
                                               std::string_view authorization) {
    constexpr std::string_view prefix = "/api/";
    constexpr std::string_view suffix = "/messages";
    // The scheme's letters in either case (RFC 9110 section 11.1).
    constexpr std::string_view scheme = "bearer ";
    if (!target.starts_with(prefix) || !target.ends_with(suffix) ||
        target.size() != prefix.size() + 2 * nameLength + 1 + suffix.size() ||
        target[prefix.size() + nameLength] != '/')
        return std::nullopt;
    const std::string_view channel = target.substr(prefix.size(), nameLength);
    const std::string_view device = target.substr(prefix.size() + nameLength + 1, nameLength);
    if (!isName(channel) || !isName(device))
        return std::nullopt;
    const bool isBearer =
        std::ranges::equal(authorization.substr(0, scheme.size()), scheme, {},
                           [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
    const std::string_view token = isBearer ? authorization.substr(scheme.size()) : "";
    return Credentials{.role = Credentials::Role::phone,
                       .channel = std::string(channel),
                       .device = std::string(device),
                       .token = std::string(isToken(token) ? token : "")};
}
