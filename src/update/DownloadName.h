#pragma once

#include <string>
#include <string_view>

/// What a downloaded release is called in the downloads folder.
namespace downloadname {

/// A file name of at most 200 bytes of UTF-8 that shows all there is of it: no "/" or "\", no
/// control, bidirectional or other invisible characters, no "." at its beginning, no blanks at its
/// ends.
/// @param suggested any bytes, usually the last segment of a URL's path
/// @param version names the file when nothing is left of the suggestion: tamsell-VERSION
[[nodiscard]] std::string sanitised(std::string_view suggested, std::string_view version);

/// The same name for the n-th file of it: "a (1).deb". The n-th is 1 or more.
[[nodiscard]] std::string numbered(std::string_view name, int number);

} // namespace downloadname
