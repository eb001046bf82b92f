#pragma once

#include <filesystem>

/// Whether the file system that holds it refuses to run programs, whatever their modes (mount(8),
/// "noexec"). False when that cannot be told.
[[nodiscard]] bool isOnNoexecMount(const std::filesystem::path& path);

/// Whether it is a file that this user may execute.
[[nodiscard]] bool isExecutable(const std::filesystem::path& path);
