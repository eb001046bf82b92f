#pragma once

#include <map>
#include <string>
#include <utility>

#include "core/Locations.h"

/// An environment that holds exactly these variables.
[[nodiscard]] inline EnvironmentLookup
fakeEnvironment(std::map<std::string, std::string> variables = {}) {
    return [variables = std::move(variables)](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}
