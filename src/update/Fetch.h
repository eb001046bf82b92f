#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Scheduler.h"
#include "update/UpdateURL.h"

/// One GET of the updater (RFC 9110), begun by the constructor and cancelled by the destructor.
///
/// Only the status 200 is an answer. At most five redirects, each to where `UpdateURL::follow`
/// allows. No cookies, no cache, no password, no proxy, no compression, no TLS error ignored. A
/// body that comes without its length can be cut off without anybody noticing here.
class Fetch {
  public:
    struct Limits {
        std::uint64_t size = 0;                  ///< of the body, in bytes
        std::chrono::milliseconds stall{30'000}; ///< without anything arriving
        std::optional<std::chrono::milliseconds> whole{};
    };

    /// Called on the event loop, never from within the constructor. Each may destroy the fetch.
    /// `finished` and `failed` are the last call.
    struct Handlers {
        std::function<void(std::string_view bytes)> received;
        std::function<void()> finished;
        std::function<void(const std::string& reason)> failed; ///< for people
    };

    Fetch(const UpdateURL& url, const Limits& limits, Handlers handlers, Scheduler& scheduler);
    Fetch(const Fetch&) = delete;
    Fetch& operator=(const Fetch&) = delete;
    ~Fetch();

    /// Where the answer comes from, behind all redirects so far.
    [[nodiscard]] const UpdateURL& url() const;
    /// Bytes of the body, when the server has said so.
    [[nodiscard]] std::optional<std::uint64_t> total() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};
