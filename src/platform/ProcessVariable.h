#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

/// A variable of the environment that a process of this user was started with. Nothing when it was
/// not set, or that cannot be told.
/// @param procDirectory the system's proc(5)
[[nodiscard]] std::optional<std::string>
processVariable(pid_t process, std::string_view name,
                const std::filesystem::path& procDirectory = "/proc");
