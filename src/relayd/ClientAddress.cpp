#include "relayd/ClientAddress.h"

#include <algorithm>
#include <charconv>

#include <arpa/inet.h>

namespace {

constexpr std::array<std::uint8_t, 12> mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
constexpr unsigned mappedBits = 96;
constexpr unsigned allBits = 128;

std::string_view trimmed(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

// "[2001:db8::1]:443" and "192.0.2.1:443" without brackets and port.
std::string_view withoutPort(std::string_view text) {
    if (text.starts_with('[')) {
        const auto end = text.find(']');
        return end == std::string_view::npos ? std::string_view() : text.substr(1, end - 1);
    }
    const auto colon = text.find(':');
    return colon != std::string_view::npos && text.find(':', colon + 1) == std::string_view::npos
               ? text.substr(0, colon)
               : text;
}

std::string textOf(const IPAddress::Bytes& bytes) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET6, bytes.data(), text.data(), text.size());
    return text.data();
}

} // namespace

std::optional<IPAddress> IPAddress::parse(std::string_view text) {
    const std::string plain(withoutPort(trimmed(text)));
    Bytes bytes{};
    if (::inet_pton(AF_INET6, plain.c_str(), bytes.data()) == 1)
        return IPAddress(bytes);
    std::ranges::copy(mapped, bytes.begin());
    if (::inet_pton(AF_INET, plain.c_str(), bytes.data() + mapped.size()) == 1)
        return IPAddress(bytes);
    return std::nullopt;
}

bool IPAddress::isIPv4() const {
    return std::equal(mapped.begin(), mapped.end(), m_bytes.begin());
}

bool IPAddress::isLoopback() const {
    if (isIPv4())
        return m_bytes[12] == 127;
    Bytes one{};
    one.back() = 1;
    return m_bytes == one;
}

std::string IPAddress::subscriber() const {
    const std::size_t length = isIPv4() ? m_bytes.size() : 8;
    return {m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(length)};
}

std::string IPAddress::shortened() const {
    Bytes network = m_bytes;
    if (isIPv4()) {
        std::string text;
        for (std::size_t i = 12; i < 15; ++i)
            text += std::to_string(m_bytes[i]) + ".";
        return text + "x";
    }
    std::fill(network.begin() + 6, network.end(), std::uint8_t{0});
    return textOf(network) + "x";
}

std::optional<AddressBlock> AddressBlock::parse(std::string_view text) {
    const auto slash = text.find('/');
    const auto start = IPAddress::parse(text.substr(0, slash));
    if (!start)
        return std::nullopt;
    const unsigned most = start->isIPv4() ? allBits - mappedBits : allBits;
    unsigned bits = most;
    if (slash != std::string_view::npos) {
        const std::string_view number = text.substr(slash + 1);
        const auto [end, error] =
            std::from_chars(number.data(), number.data() + number.size(), bits);
        if (error != std::errc() || end != number.data() + number.size() || bits > most)
            return std::nullopt;
    }
    return AddressBlock{*start, bits + (allBits - most)};
}

bool AddressBlock::contains(const IPAddress& address) const {
    for (unsigned bit = 0; bit < bits; ++bit) {
        const auto mask = static_cast<std::uint8_t>(0x80U >> (bit % 8));
        if (((address.bytes()[bit / 8] ^ start.bytes()[bit / 8]) & mask) != 0)
            return false;
    }
    return true;
}

IPAddress clientAddress(const IPAddress& peer, std::string_view forwardedFor,
                        const std::vector<AddressBlock>& proxies) {
    const auto isProxy = [&](const IPAddress& address) {
        return std::ranges::any_of(
            proxies, [&](const AddressBlock& block) { return block.contains(address); });
    };
    IPAddress client = peer;
    while (isProxy(client) && !forwardedFor.empty()) {
        const auto comma = forwardedFor.rfind(',');
        const auto last =
            comma == std::string_view::npos ? forwardedFor : forwardedFor.substr(comma + 1);
        forwardedFor =
            comma == std::string_view::npos ? std::string_view() : forwardedFor.substr(0, comma);
        const auto next = IPAddress::parse(last);
        if (!next)
            break; // Whoever wrote that is the last one known.
        client = *next;
    }
    return client;
}
