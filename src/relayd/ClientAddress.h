#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// An IP address; IPv4 as the IPv6 address that it maps to (RFC 4291 section 2.5.5.2).
class IPAddress {
  public:
    using Bytes = std::array<std::uint8_t, 16>;

    explicit IPAddress(const Bytes& bytes) : m_bytes(bytes) {}
    /// "192.0.2.1", "2001:db8::1", also in brackets and with a port behind it as proxies write it.
    [[nodiscard]] static std::optional<IPAddress> parse(std::string_view text);

    [[nodiscard]] const Bytes& bytes() const { return m_bytes; }
    [[nodiscard]] bool isIPv4() const;
    [[nodiscard]] bool isLoopback() const;

    /// What limits are counted by: an IPv4 address, or the /64 network of an IPv6 one.
    [[nodiscard]] std::string subscriber() const;
    /// For the log, without what tells one subscriber from the next: "192.0.2.x", "2001:db8:1::x".
    [[nodiscard]] std::string shortened() const;

    bool operator==(const IPAddress&) const = default;

  private:
    Bytes m_bytes;
};

/// A block of addresses: "10.0.0.0/8", or one address.
struct AddressBlock {
    [[nodiscard]] static std::optional<AddressBlock> parse(std::string_view text);
    [[nodiscard]] bool contains(const IPAddress& address) const;

    IPAddress start;
    unsigned bits; ///< of the 128
};

/// Who is really asking. A proxy's word is taken only when the proxy is a named one: then it is the
/// last address in the "X-Forwarded-For" header that is not itself a named proxy's.
/// @param forwardedFor all such headers' values, joined by commas; empty without one
[[nodiscard]] IPAddress clientAddress(const IPAddress& peer, std::string_view forwardedFor,
                                      const std::vector<AddressBlock>& proxies);
