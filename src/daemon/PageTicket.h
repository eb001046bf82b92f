#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// What opens the page once, in the place of the access token. The address of a page that is opened
/// in a browser stands in the browser's command line, which every account of the computer can read:
/// a ticket that is found there is worth nothing any more.
class PageTicket {
  public:
    using Clock = std::chrono::steady_clock;

    /// A browser that has to be started first takes its time.
    static constexpr std::chrono::seconds lifetime{60};

    /// A new one, as base64url; the one before is void.
    /// @throws std::runtime_error when the system gives no random bytes
    [[nodiscard]] std::string issue(Clock::time_point now);
    /// Whether it is the valid one, which then is not any more.
    [[nodiscard]] bool redeem(std::string_view presented, Clock::time_point now);

  private:
    std::optional<std::string> m_valid;
    Clock::time_point m_until;
};
