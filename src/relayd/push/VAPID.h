#pragma once

#include <chrono>
#include <map>
#include <string>
#include <string_view>

#include "crypto/P256.h"

/// Voluntary Application Server Identification (RFC 8292): tells push services who sends.
class VAPID {
  public:
    using Moment = std::chrono::system_clock::time_point;

    /// Services refuse more than 24 hours (section 2); this leaves room for clocks that differ.
    static constexpr std::chrono::hours lifetime{12};
    /// A token is replaced when it has less than this left.
    static constexpr std::chrono::hours reserve{1};

    /// @param subject whom a service can turn to: "mailto:" with an address or an "https:" URL
    /// @throws std::invalid_argument when it is neither
    VAPID(P256PrivateKey key, std::string subject);

    /// Whether a service would take it: its domain has a dot, and there is no blank, control or
    /// non-ASCII character; 256 bytes at most.
    [[nodiscard]] static bool isSubject(std::string_view subject);

    /// The value of the "Authorization" header, "vapid t=TOKEN, k=KEY" (section 3). Tokens are kept
    /// for each audience and renewed in time, also when the clock was put back.
    /// @param audience the origin of the endpoint: "https://push.example.org"
    /// @throws std::runtime_error when OpenSSL fails
    [[nodiscard]] std::string authorization(const std::string& audience, Moment now);
    /// The public key as browsers subscribe with it (applicationServerKey): Base64 of 65 bytes.
    [[nodiscard]] std::string publicKey() const;

  private:
    struct Token {
        std::string text;
        Moment expiry;
    };

    [[nodiscard]] std::string sign(const std::string& audience, Moment expiry) const;

    P256PrivateKey m_key;
    std::string m_subject;
    std::map<std::string, Token> m_tokens; // By audience.
};
