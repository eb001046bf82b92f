#pragma once

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/ChildProcess.h"

/// How one run of tamsellctl ended.
struct CtlRun {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// Runs it for the user of this data directory, whose agents' files lie in it as well, with a
/// configuration directory in it, too, and a Codex that says nothing.
/// @param variables more of its environment: NAME=VALUE
inline CtlRun runCtl(const std::filesystem::path& home, std::vector<std::string> words,
                     const std::string& input = "", std::vector<std::string> variables = {}) {
    const std::string base = home.string();
    std::vector<std::string> arguments{"env",
                                       "-u",
                                       "CLAUDE_CONFIG_DIR",
                                       "TAMSELL_HOME=" + base,
                                       "TAMSELL_CLAUDE_SETTINGS=" + base + "/claude/settings.json",
                                       "CODEX_HOME=" + base + "/codex",
                                       "XDG_CONFIG_HOME=" + base + "/config",
                                       "TAMSELL_CODEX_BIN=/bin/false"};
    arguments.insert(arguments.end(), variables.begin(), variables.end());
    arguments.emplace_back(TAMSELL_BIN "/tamsellctl");
    arguments.insert(arguments.end(), words.begin(), words.end());
    ChildProcess process({.arguments = std::move(arguments), .input = input});
    if (!process.wait(ChildProcess::Clock::now() + std::chrono::seconds(60)))
        throw std::runtime_error("tamsellctl does not end: " + process.output());
    return {process.exitCode().value_or(-1), process.output(), process.errors()};
}

/// The text with every path in the data directory shortened to one that begins with "~".
inline std::string shortened(std::string text, const std::filesystem::path& home) {
    for (std::size_t at = text.find(home.string()); at != std::string::npos;
         at = text.find(home.string(), at))
        text.replace(at, home.string().size(), "~");
    return text;
}
