#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// Reading without a surprise: never more than the caller's limit.
namespace file {

/// What a bounded read came to.
enum class ReadEnd { whole, cut, failed };

/// Appends what the descriptor still has, up to its end or until `text` has more than `limit`
/// bytes (then it is `cut`, and how much of the rest was read is unspecified). It waits for a
/// descriptor that does not block, too. After `failed`, errno says why.
[[nodiscard]] ReadEnd readAll(int descriptor, std::size_t limit, std::string& text);

/// Writes all of it, and waits for a descriptor that does not block, too. False when that failed;
/// then errno says why, and how much was written is unspecified.
[[nodiscard]] bool writeAll(int descriptor, std::string_view text);

/// The first `limit` bytes at most. Nothing when it cannot be opened or read, or is no regular
/// file: a pipe could have one wait for ever.
[[nodiscard]] std::optional<std::string> readStart(const std::string& path, std::size_t limit);

/// A regular file's bytes, all of them.
/// @throws std::system_error with the path; std::errc::file_too_large for more than `limit` bytes
[[nodiscard]] std::string read(const std::filesystem::path& path, std::size_t limit);

} // namespace file
