#include "hook/AgentCommand.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

#include "core/File.h"

namespace hook {

namespace {

constexpr int maximumShells = 4;
// The system allows 128 KiB for one argument, so a shell's whole command line fits.
constexpr std::size_t maximumArguments = std::size_t{256} << 10;
constexpr std::array<std::string_view, 11> shells{"sh",  "dash", "bash", "zsh", "ksh",  "fish",
                                                  "ash", "mksh", "tcsh", "csh", "rbash"};

using Arguments = std::vector<std::string_view>;

// Those of a process's cmdline file, where each one ends with a NUL. A program that gave itself
// a title leaves more of them at the end.
Arguments split(std::string_view text) {
    Arguments arguments;
    text = text.substr(0, text.find_last_not_of('\0') + 1);
    while (!text.empty()) {
        const std::size_t end = text.find('\0');
        arguments.push_back(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
    return arguments;
}

// The name of a program in argv[0], where a login shell has a "-" before it.
std::string_view baseName(std::string_view program) {
    program = program.substr(program.rfind('/') + 1);
    return program.substr(program.starts_with('-') ? 1 : 0);
}

bool isShell(std::string_view name) {
    return std::ranges::find(shells, name) != shells.end();
}

bool isShellAroundUs(std::span<const std::string_view> arguments,
                     std::span<const std::string> ownPaths) {
    if (arguments.size() > 1 && baseName(arguments[0]) == "busybox")
        arguments = arguments.subspan(1);
    if (arguments.size() < 3 || !isShell(baseName(arguments[0])))
        return false;
    const auto flags = arguments.subspan(1, arguments.size() - 2);
    const auto isFlag = [](std::string_view flag) { return flag.starts_with('-'); };
    const auto hasCommand = [](std::string_view flag) {
        return !flag.starts_with("--") && flag.find('c') != std::string_view::npos;
    };
    if (!std::ranges::all_of(flags, isFlag) || std::ranges::none_of(flags, hasCommand))
        return false;
    const std::string_view text = arguments.back();
    return std::ranges::any_of(ownPaths, [&](const std::string& path) {
        return !path.empty() && text.find(path) != std::string_view::npos;
    });
}

std::string joined(const Arguments& arguments) {
    std::string line;
    for (const std::string_view argument : arguments) {
        if (!line.empty())
            line += ' ';
        line += argument;
    }
    line.resize(std::min(line.size(), maximumCommandLine));
    return line;
}

// The fourth field of a process's stat file. The second, its name in parentheses, may itself hold
// any character.
std::optional<pid_t> parentIn(std::string_view stat) {
    const std::size_t name = stat.rfind(") ");
    if (name == std::string_view::npos || stat.size() < name + 4)
        return std::nullopt;
    const std::string_view rest = stat.substr(name + 4);
    pid_t parent = 0;
    const auto result = std::from_chars(rest.data(), rest.data() + rest.size(), parent);
    return result.ec == std::errc() ? std::optional(parent) : std::nullopt;
}

} // namespace

std::string agentCommandLine(const std::string& procDirectory, pid_t parent,
                             std::span<const std::string> ownPaths) {
    for (int skipped = 0;; ++skipped) {
        const std::string directory = procDirectory + '/' + std::to_string(parent);
        const auto text = file::readStart(directory + "/cmdline", maximumArguments);
        if (!text)
            return {};
        const Arguments arguments = split(*text);
        if (skipped == maximumShells || !isShellAroundUs(arguments, ownPaths))
            return joined(arguments);
        const auto above =
            parentIn(file::readStart(directory + "/stat", 4096).value_or(std::string()));
        if (!above || *above <= 0)
            return {};
        parent = *above;
    }
}

} // namespace hook
