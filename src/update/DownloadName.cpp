#include "update/DownloadName.h"

#include <algorithm>

#include "core/Text.h"

namespace downloadname {

namespace {

// File systems take 255; a number may be added, and ".part" by other programs.
constexpr std::size_t maximumSize = 200;
// What is longer is no extension, and may be cut off.
constexpr std::size_t maximumExtension = 16;

// Where the extension begins, both of a ".tar.xz"; the size when there is none.
std::size_t extensionOf(std::string_view name) {
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || name.size() - dot > maximumExtension)
        return name.size();
    constexpr std::string_view tar = ".tar";
    const std::string_view stem = name.substr(0, dot);
    return stem.ends_with(tar) && stem.size() > tar.size() ? dot - tar.size() : dot;
}

// Whatever would be written as an escape, and what separates the parts of a path, as "_".
std::string cleaned(std::string_view suggested) {
    const std::string repaired = text::repaired(suggested);
    std::string result;
    for (std::string_view rest = repaired; !rest.empty();) {
        // One scalar: its first byte, and the ones that continue it.
        const auto isContinuation = [](char c) { return (c & 0xC0) == 0x80; };
        const auto end = std::find_if_not(rest.begin() + 1, rest.end(), isContinuation);
        const std::string_view scalar =
            rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
        const bool isPlain = scalar != "/" && scalar != "\\" && text::visible(scalar) == scalar;
        result += isPlain ? scalar : "_";
        rest.remove_prefix(scalar.size());
    }
    const std::size_t start = result.find_first_not_of(". ");
    result.erase(0, std::min(start, result.size()));
    return std::string(text::trimmed(result));
}

} // namespace

std::string sanitised(std::string_view suggested, std::string_view version) {
    std::string name = cleaned(suggested);
    if (name.find_first_not_of('_') == std::string::npos)
        name = "tamsell-" + cleaned(version);
    const std::string extension = name.substr(extensionOf(name));
    const std::string_view stem = std::string_view(name).substr(0, name.size() - extension.size());
    // Where it is cut there may be a blank.
    return std::string(
               text::trimmed(text::prefix(stem, maximumSize, maximumSize - extension.size()))) +
           extension;
}

std::string numbered(std::string_view name, int number) {
    const std::size_t extension = extensionOf(name);
    return std::string(name.substr(0, extension)) + " (" + std::to_string(number) + ")" +
           std::string(name.substr(extension));
}

} // namespace downloadname
