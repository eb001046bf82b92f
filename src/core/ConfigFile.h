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
        object,  ///< a JSON object, in `members`
        absent,  ///< no file
        damaged, ///< not JSON, or JSON that is no object; the bytes are in `bytes`. Or too large or
                 ///< no regular file, as `error` says then, and not read
        unreadable ///< for a reason that may pass, the system's error in `error`
    };
    /// By what a changed file is told: when it was modified (nanoseconds since 1970), and which one
    /// of what size it is, since two changes within a few milliseconds can have one date.
    struct Stamp {
        std::int64_t modified = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;

        bool operator==(const Stamp&) const = default;
    };

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
    [[nodiscard]] static std::optional<Stamp> stamp(const std::filesystem::path& path);
};
