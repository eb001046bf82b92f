#include "platform/Endpoint.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

#include <arpa/inet.h>
#include <netinet/in.h>

namespace {

constexpr std::array<std::uint8_t, 16> loopback4{127, 0, 0, 1};
constexpr std::array<std::uint8_t, 16> loopback6{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
constexpr std::array<std::uint8_t, 16> any{};
constexpr std::array<std::uint8_t, 12> mappedPrefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};

// The literal address, or false. An IPv4 address in IPv6 clothes is an IPv4 address.
bool readLiteral(const std::string& host, Endpoint& into) {
    if (host.find('\0') != std::string::npos)
        return false;
    into.family = AF_INET;
    if (::inet_pton(AF_INET, host.c_str(), into.address.data()) == 1)
        return true;
    into.family = AF_INET6;
    if (::inet_pton(AF_INET6, host.c_str(), into.address.data()) != 1)
        return false;
    if (std::ranges::equal(mappedPrefix, std::span(into.address).first<12>())) {
        into.family = AF_INET;
        std::copy_n(into.address.begin() + 12, 4, into.address.begin());
        std::fill(into.address.begin() + 4, into.address.end(), std::uint8_t{0});
    }
    return true;
}

} // namespace

socklen_t Endpoint::writeTo(sockaddr_storage& out) const {
    out = {};
    if (family == AF_INET) {
        sockaddr_in address4{};
        address4.sin_family = AF_INET;
        address4.sin_port = htons(port);
        std::memcpy(&address4.sin_addr, address.data(), sizeof address4.sin_addr);
        std::memcpy(&out, &address4, sizeof address4);
        return sizeof address4;
    }
    sockaddr_in6 address6{};
    address6.sin6_family = AF_INET6;
    address6.sin6_port = htons(port);
    std::memcpy(&address6.sin6_addr, address.data(), sizeof address6.sin6_addr);
    std::memcpy(&out, &address6, sizeof address6);
    return sizeof address6;
}

Endpoint Endpoint::from(const sockaddr_storage& address) {
    Endpoint result;
    result.family = address.ss_family;
    if (address.ss_family == AF_INET) {
        sockaddr_in address4{};
        std::memcpy(&address4, &address, sizeof address4);
        result.port = ntohs(address4.sin_port);
        std::memcpy(result.address.data(), &address4.sin_addr, sizeof address4.sin_addr);
    } else {
        sockaddr_in6 address6{};
        std::memcpy(&address6, &address, sizeof address6);
        result.port = ntohs(address6.sin6_port);
        std::memcpy(result.address.data(), &address6.sin6_addr, sizeof address6.sin6_addr);
    }
    return result;
}

std::string Endpoint::authority() const {
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(family, address.data(), text.data(), text.size());
    const bool isV6 = family == AF_INET6;
    std::string result = isV6 ? "[" : "";
    result.append(text.data()).append(isV6 ? "]:" : ":");
    return result += std::to_string(port);
}

std::vector<Endpoint> loopbackCandidates(const std::string& host, double port) {
    const double whole = std::trunc(port);
    if (!(whole >= 1 && whole <= 65535))
        return {};
    const Endpoint here4{
        .family = AF_INET, .address = loopback4, .port = static_cast<std::uint16_t>(whole)};
    const Endpoint here6{.family = AF_INET6, .address = loopback6, .port = here4.port};
    if (host == "localhost")
        return {here4, here6};
    Endpoint literal{.family = AF_INET, .address = {}, .port = here4.port};
    if (!readLiteral(host, literal))
        return {};
    const bool isLoopback = literal.family == AF_INET ? literal.address[0] == loopback4[0]
                                                      : literal.address == loopback6;
    if (isLoopback)
        return {literal};
    // The daemon serves no hook of another computer, and an event is nobody else's business.
    if (literal.address != any)
        return {};
    if (literal.family == AF_INET)
        return {here4};
    return {here6, here4};
}
