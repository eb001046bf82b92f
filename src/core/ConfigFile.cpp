#include "core/ConfigFile.h"

#include <sys/stat.h>

#include "core/File.h"

namespace {

// What the system may be short of, or a person may be about to change, for a moment.
bool mayPass(const std::error_code& error) {
    for (const std::errc passing :
         {std::errc::too_many_files_open, std::errc::too_many_files_open_in_system,
          std::errc::not_enough_memory, std::errc::io_error, std::errc::interrupted,
          std::errc::permission_denied, std::errc::operation_not_permitted}) {
        if (error == passing)
            return true;
    }
    return false;
}

} // namespace

ConfigFile ConfigFile::read(const std::filesystem::path& path) {
    try {
        return parse(file::read(path, maximumSize));
    } catch (const std::system_error& error) {
        ConfigFile result;
        result.error = error.code();
        const bool isAbsent = error.code() == std::errc::no_such_file_or_directory ||
                              error.code() == std::errc::not_a_directory;
        result.state = isAbsent                ? State::absent
                       : mayPass(error.code()) ? State::unreadable
                                               : State::damaged;
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
