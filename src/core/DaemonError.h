#pragma once

#include <stdexcept>
#include <string>

/// A failure in words that its reader can act on: shown by the interface, returned by the local
/// routes and sent back to a phone.
class DaemonError : public std::runtime_error {
  public:
    explicit DaemonError(const std::string& message) : std::runtime_error(message) {}

    [[nodiscard]] std::string message() const { return what(); }
};
