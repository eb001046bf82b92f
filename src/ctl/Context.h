#pragma once

#include <sys/types.h>

#include "core/Config.h"
#include "core/Locations.h"
#include "hooks/Hooks.h"
#include "platform/Bundle.h"

namespace ctl {

/// What main hands to every command.
struct Context {
    EnvironmentLookup environment;
    Locations locations;
    Bundle bundle;
    Hooks hooks;

    /// The settings as they lie in the file, over the defaults; nothing is written, unlike by
    /// `Config::load`.
    [[nodiscard]] Config config() const;
    /// Who may hear a word from this program: the owner of config.json, or the user while there is
    /// none.
    [[nodiscard]] uid_t owner() const;
};

} // namespace ctl
