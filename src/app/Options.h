#pragma once

#include <optional>
#include <span>
#include <string>

/// What the command line asks for.
struct Options {
    enum class Action { run, help, version };

    Action action = Action::run;
    bool isHeadless = false;

    /// Nothing for a command line that cannot be understood; `error` then says why.
    [[nodiscard]] static std::optional<Options> parse(std::span<char* const> arguments,
                                                      std::string& error);
};
