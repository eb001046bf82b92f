#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "BareDesktop.h"
#include "Process.h"
#include "core/Config.h"

namespace bench {

enum class Interface { absent, present };

/// How `tamsell` of this build is started on a desktop. Writes its settings into the directory,
/// which becomes its data directory, and has it see nothing of whoever runs this.
[[nodiscard]] Command launchOn(const BareDesktop& desktop, const ScratchDirectory& directory,
                               std::uint16_t port, const std::string& mode, Interface interface);

/// A `tamsell` of this build with a data directory of its own, headless unless told otherwise.
class ScratchDaemon {
  public:
    /// A relay, and the file of the authority that vouches for it.
    struct Relay {
        RelayConfig settings;
        std::filesystem::path authority;
    };

    /// @param mode "on" holds questions, "off" answers everything at once
    explicit ScratchDaemon(const std::string& mode,
                           const std::optional<Relay>& relay = std::nullopt);

    /// On a desktop, with or without its interface.
    ScratchDaemon(const std::string& mode, const BareDesktop& desktop, Interface interface);

    [[nodiscard]] std::uint16_t port() const { return m_port; }
    [[nodiscard]] const Process& process() const { return m_process; }
    /// What TAMSELL_HOME is for a hook that is to find it.
    [[nodiscard]] const std::filesystem::path& home() const { return m_directory.path(); }
    /// A request with the access token.
    [[nodiscard]] std::string get(const std::string& path) const;
    /// How many events are in the log.
    [[nodiscard]] int loggedEvents() const;
    /// Waits until it has nothing to do any more.
    void settle() const;

  private:
    ScratchDirectory m_directory;
    std::uint16_t m_port;
    Process m_process;
};

} // namespace bench
