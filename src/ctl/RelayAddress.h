#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ctl {

/// Where a relay URL (RFC 3986) leads.
struct RelayAddress {
    bool usesTLS = true;
    std::string host; ///< in ASCII; an IPv6 address without its brackets
    std::uint16_t port = 443;

    /// Only https, and http to this computer itself. The URL has no user, query or fragment: what
    /// phones open is made by putting a fragment behind it.
    /// @throws DaemonError that says what is wrong with it
    [[nodiscard]] static RelayAddress from(std::string_view url);

    /// "relay.example", "127.0.0.1:8080": as it stands in a URL, the usual port left out.
    [[nodiscard]] std::string authority() const;
};

} // namespace ctl
