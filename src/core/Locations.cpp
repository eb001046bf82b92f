#include "core/Locations.h"

#include <cstdlib>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace fs = std::filesystem;

std::optional<std::string> processEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

fs::path homeDirectory() {
    std::vector<char> buffer(4096);
    passwd entry{};
    passwd* found = nullptr;
    while (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
           buffer.size() < (std::size_t{1} << 20))
        buffer.resize(buffer.size() * 2);
    if (found && found->pw_dir && *found->pw_dir)
        return found->pw_dir;
    return processEnvironment("HOME").value_or("/");
}

Locations Locations::from(const EnvironmentLookup& environment, const fs::path& home) {
    const auto chosen = [&](const char* name) -> std::optional<fs::path> {
        const auto value = environment(name);
        if (!value)
            return std::nullopt;
        // Not normalised: "link/.." means what the kernel says, here and in every other program.
        std::error_code ignored;
        return value->empty() ? fs::current_path(ignored) : fs::absolute(*value, ignored);
    };
    Locations result;
    result.home = home;
    const auto dataDirectory = chosen("TAMSELL_HOME");
    result.dataDirectoryIsChosen = dataDirectory.has_value();
    result.dataDirectory = dataDirectory.value_or(home / ".tamsell");
    result.configFile = result.dataDirectory / "config.json";
    result.hookExecutable = result.dataDirectory / "tamsell-hook";
    result.logsDirectory = result.dataDirectory / "logs";
    result.eventsLog = result.logsDirectory / "events.jsonl";
    result.statusFile = result.logsDirectory / "status.json";
    result.claudeSettings =
        chosen("TAMSELL_CLAUDE_SETTINGS").value_or(home / ".claude" / "settings.json");
    result.codexHome = chosen("CODEX_HOME").value_or(home / ".codex");
    result.codexHooks = result.codexHome / "hooks.json";
    result.legacyConfig = home / ".zel" / "config.json";
    return result;
}
