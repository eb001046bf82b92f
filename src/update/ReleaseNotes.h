#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What a feed says about a release.
namespace releasenotes {

/// Bytes. What a person reads before an update is far shorter.
inline constexpr std::size_t maximumSize = std::size_t{64} << 10;

/// As plain text of lines: HTML without its tags, with its paragraphs and list items on lines of
/// their own; hidden and bidirectional characters visible; no blank lines at either end, nor two
/// in a row. Text that has no tag of HTML stays as it is written. At most `maximumSize` bytes, of
/// which the last say so when there was more.
[[nodiscard]] std::string plain(std::string_view description);

} // namespace releasenotes
