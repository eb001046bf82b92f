#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>

#include <sys/types.h>

/// Replacing a file so that every reader, and a crash, sees the old bytes or the new ones.
namespace atomicfile {

/// Writes a temporary file beside the target, sets its permissions before the first byte, flushes
/// it to the disk and renames it over the target. A symbolic link is followed to what it names, and
/// stays a link. The owner of a replaced file is kept where the system allows it. What is there and
/// is no regular file is refused.
///
/// @param mode permission bits of the result; when absent those of the replaced file, or 0644
/// @throws std::system_error with the path; the file is then as it was and nothing is left behind
void write(const std::filesystem::path& path, std::string_view bytes,
           std::optional<mode_t> mode = std::nullopt);

/// The same, if the condition still holds when everything but the rename is done. An empty one
/// does.
/// @return whether it did; if not the file is as it was
[[nodiscard]] bool writeIf(const std::filesystem::path& path, std::string_view bytes,
                           const std::function<bool()>& condition,
                           std::optional<mode_t> mode = std::nullopt);

/// The same for a file that takes mode and owner of another one, which exists.
void writeLike(const std::filesystem::path& model, const std::filesystem::path& path,
               std::string_view bytes);

/// Where the bytes go: what the links name, whether it exists or not; the path itself if it is
/// none.
/// @throws std::system_error when the links go round in circles
[[nodiscard]] std::filesystem::path targetOf(const std::filesystem::path& path);

} // namespace atomicfile
