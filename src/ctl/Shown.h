#pragma once

#include <filesystem>
#include <string>

#include "core/Text.h"

namespace ctl {

/// A path as it may stand in a sentence.
[[nodiscard]] inline std::string shown(const std::filesystem::path& path) {
    return text::visible(path.string());
}

} // namespace ctl
