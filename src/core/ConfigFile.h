#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "core/JSONValue.h"

/// What lies at the place of config.json, read without changing anything.
struct ConfigFile {
    enum class State {
        object,    ///< a JSON object, in `members`
        absent,    ///< no file
        damaged,   ///< not JSON, or JSON that is no object; the bytes are in `bytes`
        unreadable ///< the system's error is in `error`
    };
    /// When a file was last modified, as far as the file system tells (nanoseconds since 1970).
    using Stamp = std::int64_t;

    State state = State::absent;
    std::string bytes;
    JSONObject members;
    std::error_code error;

    /// Beyond this many bytes a file is damaged: settings are a few kilobytes.
    static constexpr std::size_t maximumSize = std::size_t{16} << 20;

    [[nodiscard]] static ConfigFile read(const std::filesystem::path& path);
    /// `object` or `damaged`.
    [[nodiscard]] static ConfigFile parse(std::string bytes);
    /// Nothing when it cannot be read.
    [[nodiscard]] static std::optional<Stamp> modified(const std::filesystem::path& path);
};
