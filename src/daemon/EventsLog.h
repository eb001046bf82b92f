#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "core/JSONValue.h"

/// The append-only record of every hook event: one compact JSON object a line, owner-only.
/// What cannot be written is dropped: an agent's event must not wait for a disk.
class EventsLog {
  public:
    explicit EventsLog(std::filesystem::path file) : m_file(std::move(file)) {}

    /// Makes the directory, readable by the owner alone.
    void prepare() const;
    /// Writes one line with one write, so that lines of several writers never mix.
    void append(const JSONObject& event);
    /// Why the last line could not be written; nothing when it could.
    [[nodiscard]] std::error_code error() const { return m_error; }
    /// When something was last written, by an earlier process if not by this one.
    [[nodiscard]] std::optional<std::chrono::system_clock::time_point> lastWrite() const;

  private:
    void write() const;

    std::filesystem::path m_file;
    std::string m_line; // Kept for its capacity.
    std::error_code m_error;
};
