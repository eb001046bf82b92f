#include "platform/DownloadsFolder.h"

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "core/File.h"

namespace fs = std::filesystem;

namespace {

// The program that writes it writes one kilobyte.
constexpr std::size_t maximumUserDirs = std::size_t{1} << 16;

constexpr std::string_view blanks = " \t\r";

std::string_view withoutBlanksBefore(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(blanks), text.size()));
}

// The value between double quotes as the shell reads it: a backslash takes the meaning from the
// character behind it. Nothing when the quotes do not end.
std::optional<std::string> unquoted(std::string_view text) {
    std::string value;
    for (std::size_t i = 1; i < text.size() && text.front() == '"'; ++i) {
        if (text[i] == '"')
            return value;
        if (text[i] == '\\' && i + 1 < text.size())
            ++i;
        value += text[i];
    }
    return std::nullopt;
}

// What XDG_DOWNLOAD_DIR="..." says. "$HOME/..." and absolute paths are the only forms there are.
std::optional<fs::path> folderIn(std::string_view line, const fs::path& home) {
    constexpr std::string_view key = "XDG_DOWNLOAD_DIR";
    constexpr std::string_view variable = "$HOME";
    line = withoutBlanksBefore(line);
    if (!line.starts_with(key))
        return std::nullopt;
    line = withoutBlanksBefore(line.substr(key.size()));
    if (!line.starts_with('='))
        return std::nullopt;
    const auto value = unquoted(withoutBlanksBefore(line.substr(1)));
    if (!value || value->find('\0') != std::string::npos)
        return std::nullopt;
    if (value->starts_with('/'))
        return fs::path(*value);
    const std::string_view rest = std::string_view(*value).substr(
        value->starts_with(variable) ? variable.size() : value->size());
    if (rest.starts_with('/'))
        return home / rest.substr(std::min(rest.find_first_not_of('/'), rest.size()));
    return *value == variable ? std::optional(home) : std::nullopt;
}

} // namespace

fs::path downloadsFolder(const EnvironmentLookup& environment, const fs::path& home) {
    const auto chosen = environment("XDG_CONFIG_HOME");
    // A relative path is to be ignored (freedesktop.org, "XDG Base Directory", Basics).
    const bool isUsable = chosen && fs::path(*chosen).is_absolute();
    const fs::path settings = (isUsable ? fs::path(*chosen) : home / ".config") / "user-dirs.dirs";

    fs::path folder = home / "Downloads";
    const std::string text = file::readStart(settings.string(), maximumUserDirs).value_or("");
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        folder = folderIn(line, home).value_or(folder);
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    }
    std::error_code error;
    fs::create_directories(folder, error);
    // A file in its place is no error to create_directories.
    if (!error && !fs::is_directory(folder))
        error = std::error_code(ENOTDIR, std::generic_category());
    if (error)
        throw std::system_error(error, folder.string());
    return folder;
}
