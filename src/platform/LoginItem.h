#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/Locations.h"

/// Whether the desktop starts the program when the user logs in: an entry "tamsell.desktop" for
/// that in the user's configuration, or in the system's where the user has none, as
/// freedesktop.org's "Desktop Application Autostart" describes.
///
/// There is no state: every call reads the entries afresh.
class LoginItem {
  public:
    /// @param environment PATH, XDG_CONFIG_HOME and XDG_CONFIG_DIRS
    /// @param program what is to be started; an absolute path
    LoginItem(const EnvironmentLookup& environment, const std::filesystem::path& home,
              std::filesystem::path program);

    /// Off, too, when the entry is hidden or switched off by the desktop's settings, cannot be
    /// understood, or names a program that is not there any more. Never fails.
    [[nodiscard]] bool isEnabled() const;
    /// Does nothing when it is so already. Otherwise switching on replaces the user's entry by one
    /// that starts the program; switching off removes it, or hides that of the system.
    /// @throws std::system_error with the path; DaemonError when no entry can name the program
    void setEnabled(bool on) const;

    /// The user's entry, whether it is there or not.
    [[nodiscard]] const std::filesystem::path& file() const { return m_files.front(); }

  private:
    [[nodiscard]] bool canStart(const std::string& program) const;

    std::filesystem::path m_program;
    std::vector<std::filesystem::path> m_files;      ///< the user's, then the system's
    std::vector<std::filesystem::path> m_searchPath; ///< where a program without a path is
};
