#pragma once

#include <cstdint>
#include <filesystem>

#include "core/Locations.h"
#include "platform/IdleTime.h"

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
