#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace ctl {

/// Tells the key that a person means for what stands on the screen from keys that only happen to
/// arrive: typed ahead, pasted, held down, meant for what stood there before.
///
/// After anything was written or typed the gate is closed for a while. When it opens, what was
/// typed until then is thrown away. A key then counts when nothing else comes with it or shortly
/// after it.
class KeyGate {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds quietPeriod{600};
    /// Longer than the pause between the repetitions of a held key, or the bytes of a paste.
    static constexpr std::chrono::milliseconds aloneFor{150};

    /// Something was written.
    void close(Clock::time_point now);
    /// Whether it opens now. The caller then throws away what was typed and not read yet.
    [[nodiscard]] bool opens(Clock::time_point now);
    /// All bytes that were read in one go.
    void type(std::string_view bytes, Clock::time_point now);
    /// The key that has stood alone for long enough; the gate is closed then. To be asked when
    /// there is nothing to read.
    [[nodiscard]] std::optional<char> key(Clock::time_point now);
    /// When `opens` or `key` is to be asked next; nothing while it waits for a key.
    [[nodiscard]] std::optional<Clock::time_point> wakeUp() const;

  private:
    enum class State { closed, open, keyPressed };

    State m_state = State::closed;
    Clock::time_point m_since; // when it was closed, or the key came
    char m_key = 0;
};

} // namespace ctl
