#include "core/ConfigFile.h"

#include <sys/stat.h>

#include "core/File.h"

ConfigFile ConfigFile::read(const std::filesystem::path& path) {
    try {
        return parse(file::read(path, maximumSize));
    } catch (const std::system_error& error) {
        ConfigFile result;
        const bool absent = error.code() == std::errc::no_such_file_or_directory ||
                            error.code() == std::errc::not_a_directory;
        const bool tooLarge = error.code() == std::errc::file_too_large;
        result.state = absent ? State::absent : tooLarge ? State::damaged : State::unreadable;
        result.error = error.code();
        return result;
    }
}

ConfigFile ConfigFile::parse(std::string bytes) {
    ConfigFile result;
    result.state = State::damaged;
    if (bytes.size() <= maximumSize) {
        auto value = JSONValue::parse(bytes);
        if (value && value->object()) {
            result.state = State::object;
            result.members = std::move(*value->object());
        }
    }
    result.bytes = std::move(bytes);
    return result;
}

std::optional<ConfigFile::Stamp> ConfigFile::stamp(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return Stamp{static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 +
                     status.st_mtim.tv_nsec,
                 status.st_ino, status.st_size};
}
