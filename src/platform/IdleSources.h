#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

#include "core/Locations.h"
#include "platform/IdleSource.h"

/// What an IdleTime reads, best source first.
struct IdleSources {
    /// What watches the input devices of a desktop. The first that answers speaks for all of them.
    std::vector<std::unique_ptr<IdleSource>> desktop;
    /// What sees a user who types at a terminal, perhaps from another computer.
    std::vector<std::unique_ptr<IdleSource>> terminal;
    /// Whether the terminal sources count at the moment; asked at each reading.
    std::function<bool()> terminalsCount;
};

/// What the sources of this computer are looked for by.
struct IdleSurroundings {
    /// Asked for the addresses of the message buses and displays and the kind of the session.
    EnvironmentLookup environment;
    std::uint32_t userId = 0;
    std::filesystem::path devices = "/dev";
};

/// The sources of this system for the user of this process. Opens nothing.
[[nodiscard]] IdleSources idleSourcesOfSystem(const EnvironmentLookup& environment);

/// The same with everything given.
[[nodiscard]] IdleSources idleSourcesOf(const IdleSurroundings& surroundings);
