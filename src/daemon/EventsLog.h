#pragma once

#include <filesystem>
#include <string>

#include "core/JSONValue.h"

/// The append-only record of every hook event: one compact JSON object a line, owner-only.
/// Whatever fails is dropped silently: an agent's event must not wait for a disk.
class EventsLog {
  public:
    explicit EventsLog(std::filesystem::path file) : m_file(std::move(file)) {}

    /// Makes the directory, readable by the owner alone.
    void prepare() const;
    /// Writes one line with one write, so that lines of several writers never mix.
    void append(const JSONObject& event);

  private:
    std::filesystem::path m_file;
    std::string m_line; // Kept for its capacity.
};
