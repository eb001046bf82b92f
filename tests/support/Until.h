#pragma once

#include <chrono>

#include <poll.h>

/// Far more than anything here takes on a busy machine.
inline constexpr std::chrono::seconds patience{30};

/// Asks for the condition every millisecond. False when it did not hold within the time.
template <typename Condition>
[[nodiscard]] bool until(Condition condition, std::chrono::milliseconds time = patience) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        ::poll(nullptr, 0, 1);
    }
    return true;
}
