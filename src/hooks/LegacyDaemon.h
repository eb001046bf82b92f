#pragma once

#include <array>
#include <chrono>
#include <filesystem>
#include <string_view>

#include <sys/types.h>
#include <unistd.h>

/// The older version of this program, which ran as a launch agent of the user's and holds the same
/// port: stops it and keeps it from starting again. Its file stays, under another name.
///
/// Failures are `std::system_error` with the path, or `DaemonError` in words for the user.
class LegacyDaemon {
  public:
    /// Its launch agents, in the order in which they are looked at.
    static constexpr std::array<std::string_view, 2> labels{"works.quillmark.zel", "works.tamsell"};

    /// @param launchctl the program that stops launch agents (launchctl(1))
    /// @param patience how long one run of it is waited for; this blocks the caller
    explicit LegacyDaemon(std::filesystem::path home,
                          std::filesystem::path launchctl = "/bin/launchctl",
                          std::chrono::milliseconds patience = std::chrono::seconds(5),
                          uid_t user = ::getuid());

    /// Whether the file of one of them is there.
    [[nodiscard]] bool legacyAgentInstalled() const;
    /// Stops and disables those whose file is there. Ends with the first failure; those before it
    /// stay disabled.
    void takeOver() const;
    /// Stops one and moves its file aside, in the place of an earlier one. That launchctl does not
    /// know it or cannot stop it is no failure; when launchctl cannot be started, or does not end
    /// in time, nothing is moved.
    void disableAgent(std::string_view label) const;

    /// Where the system finds it.
    [[nodiscard]] std::filesystem::path launchAgentFile(std::string_view label) const;
    /// Where its file is kept once it is disabled.
    [[nodiscard]] std::filesystem::path disabledCopy(std::string_view label) const;

  private:
    void bootOut(std::string_view label) const;

    std::filesystem::path m_home;
    std::filesystem::path m_launchctl;
    std::chrono::milliseconds m_patience;
    uid_t m_user;
};
