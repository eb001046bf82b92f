#pragma once

#include <filesystem>

#include "core/Locations.h"

/// Where the user's downloads go: XDG_DOWNLOAD_DIR of user-dirs.dirs (user-dirs.dirs(5)) in
/// XDG_CONFIG_HOME or .config, else Downloads in the home directory. It is made when it is missing.
/// @throws std::system_error with the path when it cannot be made or is no directory
[[nodiscard]] std::filesystem::path downloadsFolder(const EnvironmentLookup& environment,
                                                    const std::filesystem::path& home);
