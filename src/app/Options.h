#pragma once

#include <optional>
#include <span>

/// What the command line asks for.
struct Options {
    bool isHeadless = false;
    /// With what the program ends at once: help or version has been printed, or what is wrong with
    /// the command line.
    std::optional<int> exitCode;

    /// Of tamsell and of the desktop program alike.
    [[nodiscard]] static Options ofProgram(std::span<char* const> arguments);
};
