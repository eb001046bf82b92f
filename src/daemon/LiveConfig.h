#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "core/Config.h"
#include "core/ConfigFile.h"
#include "core/Locations.h"
#include "core/Log.h"

/// The settings in force, kept in step with config.json, which other programs and people write too.
class LiveConfig {
  public:
    using Change = std::function<void(Config&)>;

    /// How long a file that is gone or cannot be understood is taken for one that somebody is just
    /// writing. Until then the settings in force stay.
    static constexpr std::chrono::milliseconds settlingTime{1500};

    /// Loads the configuration.
    LiveConfig(const Locations& locations, LogSink log);

    [[nodiscard]] const Config& value() const { return m_config; }

    /// Takes over what has changed in the file since the last look. Good settings are not given up
    /// because the file cannot be read for a moment or is half written.
    /// @return whether other settings are in force now
    bool reload();

    /// Makes a change and saves it. A save that fails is logged; the change is in force all the
    /// same. While the file holds a change that could not be taken over yet, nothing is written
    /// over it: the change is kept, and made again when it could. So it must not refer to anything
    /// that ends before.
    void update(const Change& change);

  private:
    /// A file that has changed and cannot be taken over yet.
    struct Unsettled {
        std::optional<ConfigFile::Stamp> stamp;
        std::chrono::steady_clock::time_point since;
        ConfigFile::State state;
    };

    [[nodiscard]] bool mustWait(const ConfigFile& found,
                                const std::optional<ConfigFile::Stamp>& stamp);
    void save();

    Locations m_locations;
    LogSink m_log;
    Config m_config;
    std::optional<ConfigFile::Stamp> m_stamp;
    bool m_isFallback =
        false; // No file stands behind the settings but one that they were saved to.
    std::optional<Unsettled> m_unsettled;
    std::vector<Change> m_unsaved;
};
