#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string_view>

namespace idle {

using SteadyClock = std::function<std::chrono::steady_clock::time_point()>;
using Deadline = std::chrono::steady_clock::time_point;

/// The most that one reading of a source takes.
inline constexpr std::chrono::milliseconds callBound{100};
/// So long nothing is asked that failed.
inline constexpr std::chrono::minutes leftAloneFor{1};

} // namespace idle

/// One way to learn how long ago the user last touched keyboard or pointer.
class IdleSource {
  public:
    IdleSource() = default;
    IdleSource(const IdleSource&) = delete;
    IdleSource& operator=(const IdleSource&) = delete;
    virtual ~IdleSource() = default;

    /// As people read it in the log: "GNOME Mutter". Never changes.
    [[nodiscard]] virtual std::string_view name() const = 0;

    /// How long ago the last input was; nothing when the source cannot tell. Takes at most
    /// `callBound`. The first call opens what the source needs; a call after a failure opens it
    /// again.
    [[nodiscard]] virtual std::optional<std::chrono::milliseconds> read() = 0;
};
