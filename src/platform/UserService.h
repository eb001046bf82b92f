#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "core/Locations.h"

/// The service of the user's own service manager that starts the daemon at log-in and again when it
/// failed: on a machine without a desktop nothing else does.
///
/// Every order to the manager is waited for, up to 15 seconds, and installing gives four: for
/// command-line programs.
class UserService {
  public:
    struct State {
        bool isInstalled = false; ///< our file is there
        bool isEnabled = false;   ///< it starts by itself
        bool isActive = false;    ///< it runs
        std::string result;       ///< how its last run ended in the manager's words, when it failed
        pid_t process = 0;        ///< while it runs
        std::string program;      ///< what the file starts
        /// Whether the user's services run without a log-in; nothing where that is not known.
        std::optional<bool> lingers;
        /// Why the manager did not answer; then only the file was looked at.
        std::optional<std::string> trouble;
    };

    /// @param environment XDG_CONFIG_HOME; and the variables that chose the locations, which the
    ///        service is given as well
    UserService(const EnvironmentLookup& environment, const Locations& locations);

    /// Never fails.
    [[nodiscard]] State state() const;
    /// Writes the file for this program, and has it started now and at every log-in.
    /// @param program the daemon; systemd takes no path with quotation marks, "\" or invisible
    ///        characters
    /// @throws DaemonError with the manager's words; std::system_error when the file cannot be
    /// written
    void install(const std::filesystem::path& program) const;
    /// Stops it, when it runs, and starts it.
    /// @throws DaemonError with the manager's words
    void restart() const;
    /// Stops it and removes the file. Nothing happens when there is none.
    /// @throws DaemonError with the manager's words; the file is removed all the same
    void remove() const;

    /// The file's place, and what is written there.
    [[nodiscard]] const std::filesystem::path& file() const { return m_file; }
    [[nodiscard]] std::string definition(const std::filesystem::path& program) const;

  private:
    std::filesystem::path m_file;
    std::filesystem::path m_lingerMark;
    std::vector<std::string> m_variables; ///< NAME=VALUE
};
