#pragma once

#include <filesystem>
#include <string>

#include "core/Text.h"

namespace ctl {

/// A path as it may stand in a sentence.
[[nodiscard]] inline std::string shown(const std::filesystem::path& path) {
    return text::visible(path.string());
}

/// A path for a shell, as a person would write it.
[[nodiscard]] inline std::string inShell(const std::filesystem::path& path) {
    std::string quoted = "'";
    for (const char c : path.string()) {
        if (c == '\'')
            quoted += "'\\'";
        quoted += c;
    }
    return text::visible(quoted + "'");
}

} // namespace ctl
