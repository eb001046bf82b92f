#pragma once

#include <optional>
#include <string>

#include <sys/types.h>

#include "hook/HookConfig.h"

namespace hook {

/// What decides where the settings lie.
struct Surroundings {
    std::optional<std::string> chosen; ///< TAMSELL_HOME, even when it is empty
    std::string executable;            ///< this program's file; empty when that is not known
    std::optional<std::string> home;   ///< HOME, for a user whom the user database does not have
    std::string userDatabase = "/etc/passwd";
    uid_t user = 0;

    [[nodiscard]] static Surroundings ofThisProcess();
};

/// The path of config.json: in TAMSELL_HOME when it is set; else beside this program when there is
/// one, because that is where the program is installed and agents do not pass the variable on; else
/// in the user's home directory.
///
/// The user database is read as a file: asking the system's name service would tie this static
/// program to the very C library that it was built with.
[[nodiscard]] std::string configPath(const Surroundings& surroundings);

/// The settings, and the one user who may hear of an event.
struct Settings {
    HookConfig config;
    uid_t owner = 0; ///< of config.json; without one, the user given
};

/// Never fails: what cannot be read counts as the defaults.
[[nodiscard]] Settings readSettings(const std::string& configPath, uid_t user);

} // namespace hook
