#include "hook/Settings.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/ConfigFile.h"
#include "core/Descriptor.h"
#include "core/File.h"

namespace hook {

namespace {

// A directory of a whole university has a million lines of 60 bytes at most.
constexpr std::size_t maximumUserDatabase = std::size_t{64} << 20;

std::optional<std::string> variable(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

// The sixth field of the line whose third is the user: name:password:uid:gid:comment:home:shell.
std::optional<std::string> homeIn(std::string_view line, uid_t user) {
    std::array<std::string_view, 6> fields;
    for (std::string_view& field : fields) {
        const std::size_t end = line.find(':');
        field = line.substr(0, end);
        line = end == std::string_view::npos ? std::string_view() : line.substr(end + 1);
    }
    uid_t number = 0;
    const std::string_view id = fields[2];
    const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
    if (error != std::errc() || end != id.data() + id.size() || number != user || fields[5].empty())
        return std::nullopt;
    return std::string(fields[5]);
}

std::string homeDirectory(const Surroundings& surroundings) {
    const std::string database =
        file::readStart(surroundings.userDatabase, maximumUserDatabase).value_or(std::string());
    for (std::string_view rest = database; !rest.empty();) {
        const std::size_t end = rest.find('\n');
        if (const auto home = homeIn(rest.substr(0, end), surroundings.user))
            return *home;
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    }
    return surroundings.home.value_or("/");
}

} // namespace

Surroundings Surroundings::ofThisProcess() {
    std::array<char, 4096> path{};
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    return {.chosen = variable("TAMSELL_HOME"),
            .executable =
                std::string(path.data(), length > 0 ? static_cast<std::size_t>(length) : 0),
            .home = variable("HOME"),
            .user = ::getuid()};
}

std::string configPath(const Surroundings& surroundings) {
    constexpr std::string_view name = "/config.json";
    if (surroundings.chosen)
        return std::string(surroundings.chosen->empty() ? "." : *surroundings.chosen).append(name);
    const std::size_t slash = surroundings.executable.rfind('/');
    if (slash != std::string::npos) {
        std::string beside = surroundings.executable.substr(0, slash).append(name);
        if (::access(beside.c_str(), F_OK) == 0)
            return beside;
    }
    return homeDirectory(surroundings).append("/.tamsell").append(name);
}

Settings readSettings(const std::string& configPath, uid_t user) {
    Settings settings{.config = {}, .owner = user};
    struct stat status {};
    // Not blocking, because a pipe may lie in the file's place.
    const Descriptor file(::open(configPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isValid()) {
        if (::stat(configPath.c_str(), &status) == 0)
            settings.owner = status.st_uid;
        return settings;
    }
    if (::fstat(file.number(), &status) != 0)
        return settings;
    settings.owner = status.st_uid;
    std::string bytes;
    if (S_ISREG(status.st_mode) &&
        file::readAll(file.number(), ConfigFile::maximumSize, bytes) == file::ReadEnd::whole)
        settings.config = HookConfig::parse(bytes);
    return settings;
}

} // namespace hook
