#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "relayd/push/PushEncryption.h"

/// Why what came is no subscription that is pushed to, in words for the reply.
class SubscriptionError final : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The push services that the relay sends to. It sends to nobody else: an endpoint is text that a
/// phone chose, and could name a host that only the relay reaches.
class PushServices {
  public:
    /// Those of the browsers' makers.
    PushServices();
    /// These and more of them. Each is a host ("push.example.org"), all hosts below one
    /// ("*.example.org"), or an exact origin ("https://192.0.2.1:8443", "http://127.0.0.1:9000";
    /// without TLS only 127.0.0.1 and [::1]).
    /// @throws std::invalid_argument with the one that is none of these
    explicit PushServices(std::span<const std::string> more);

    /// The endpoint's origin when it belongs to one of them, spelled as browsers spell it.
    /// @throws SubscriptionError
    [[nodiscard]] std::string originOf(const std::string& endpoint) const;

  private:
    [[nodiscard]] bool hasHost(std::string_view host) const;

    std::vector<std::string> m_hosts;
    std::vector<std::string> m_suffixes; // With a dot in front.
    std::vector<std::string> m_origins;
};

/// Where a browser wants to be pushed to, and how it is encrypted for it (PushSubscription of the
/// Push API).
struct Subscription {
    static constexpr std::size_t maximumJSON = 4096;
    static constexpr std::size_t maximumEndpoint = 2048;

    /// Reads what PushSubscription.toJSON() gives. Members that it does not know are left out.
    /// @throws SubscriptionError
    [[nodiscard]] static Subscription from(std::string_view json, const PushServices& services);
    /// The text that `from` reads. It has a secret in it.
    [[nodiscard]] std::string json() const;

    std::string endpoint;
    std::string origin; ///< of the endpoint: the audience of `VAPID`
    PushKeys keys;
    std::optional<std::chrono::system_clock::time_point> expirationTime; ///< may have passed
};
