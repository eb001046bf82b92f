#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Process.h"
#include "core/Config.h"

namespace bench {

/// A `tamsell --headless` of this build with a data directory of its own.
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
