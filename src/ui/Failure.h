#pragma once

#include <exception>
#include <functional>
#include <optional>

#include <QString>

/// Does it, and gives what a person is told when that fails.
[[nodiscard]] inline std::optional<QString> failureOf(const std::function<void()>& action) {
    try {
        action();
        return std::nullopt;
    } catch (const std::exception& failure) {
        return QString::fromUtf8(failure.what());
    }
}
