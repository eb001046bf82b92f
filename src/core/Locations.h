#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

/// Looks up one environment variable; nothing when it is not set. A set, empty one is "".
using EnvironmentLookup = std::function<std::optional<std::string>(const char* name)>;

/// The environment of this process, at the time of each call.
[[nodiscard]] std::optional<std::string> processEnvironment(const char* name);

/// The home directory of this process's user by the user database; the HOME variable only where
/// the user has no entry there.
[[nodiscard]] std::filesystem::path homeDirectory();

/// Where everything lies. Computed once by main and handed on.
struct Locations {
    /// @param environment TAMSELL_HOME, TAMSELL_CLAUDE_SETTINGS and CODEX_HOME are taken as file
    ///        paths whenever they are set; relative ones count from the working directory of now
    [[nodiscard]] static Locations from(const EnvironmentLookup& environment,
                                        const std::filesystem::path& home);

    std::filesystem::path home;
    std::filesystem::path dataDirectory;
    /// Whether TAMSELL_HOME chose the data directory; then nothing is imported from elsewhere.
    bool dataDirectoryIsChosen = false;
    std::filesystem::path configFile;
    std::filesystem::path hookExecutable;
    std::filesystem::path logsDirectory;
    std::filesystem::path eventsLog;
    std::filesystem::path statusFile; ///< what the daemon notes about itself
    std::filesystem::path claudeSettings;
    std::filesystem::path codexHome;
    std::filesystem::path codexHooks;
    std::filesystem::path legacyConfig;
};
