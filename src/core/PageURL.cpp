#include "core/PageURL.h"

namespace {

// Everything but the unreserved characters (RFC 3986 section 2.3) in hexadecimal.
std::string percentEncoded(std::string_view text) {
    constexpr char digits[] = "0123456789ABCDEF";
    constexpr std::string_view unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    std::string result;
    for (const char c : text) {
        if (unreserved.find(c) != std::string_view::npos) {
            result += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        result += '%';
        result += digits[byte >> 4];
        result += digits[byte & 15];
    }
    return result;
}

} // namespace

std::string pageTarget(std::string_view token) {
    return "/?token=" + percentEncoded(token);
}

std::string pageURL(std::string_view authority, std::string_view token) {
    return "http://" + std::string(authority) + pageTarget(token);
}
