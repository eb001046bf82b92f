#pragma once

#include <filesystem>
#include <string_view>

#include "core/JSONValue.h"

/// logs/status.json: what the daemon knows about itself and its routes do not say, for the one who
/// looks after it at the terminal. {"pid": …, and what was set}. Mode 0600, replaced atomically.
class StatusFile {
  public:
    /// Writes nothing yet; what an earlier process wrote stays until then, told by its pid.
    explicit StatusFile(std::filesystem::path path);

    /// Writes the file unless it says so already. After a failure the next call writes all of it,
    /// whether it changes something or not.
    /// @return whether the file says so now
    bool set(std::string_view key, const JSONValue& value);

  private:
    std::filesystem::path m_path;
    JSONObject m_members;
    bool m_isWritten = false;
};
