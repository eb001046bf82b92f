#include "hook/AgentCommand.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include "core/File.h"
#include "platform/ProcessFiles.h"

namespace hook {

namespace {

constexpr int maximumShells = 4;
constexpr std::array<std::string_view, 11> shells{"sh",  "dash", "bash", "zsh", "ksh",  "fish",
                                                  "ash", "mksh", "tcsh", "csh", "rbash"};

using processfiles::Arguments;
using processfiles::programName;

bool isShell(std::string_view name) {
    return std::ranges::find(shells, name) != shells.end();
}

bool isShellAroundUs(std::span<const std::string_view> arguments,
                     std::span<const std::string> ownPaths) {
    if (arguments.size() > 1 && programName(arguments[0]) == "busybox")
        arguments = arguments.subspan(1);
    if (arguments.size() < 3 || !isShell(programName(arguments[0])))
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

} // namespace

std::string agentCommandLine(const std::string& procDirectory, pid_t parent,
                             std::span<const std::string> ownPaths) {
    for (int skipped = 0;; ++skipped) {
        const std::string directory = procDirectory + '/' + std::to_string(parent);
        const auto text = file::readStart(directory + "/cmdline", processfiles::maximumArguments);
        if (!text)
            return {};
        const Arguments arguments = processfiles::arguments(*text);
        if (skipped == maximumShells || !isShellAroundUs(arguments, ownPaths))
            return joined(arguments);
        const auto stat =
            file::readStart(directory + "/stat", processfiles::maximumStat).value_or("");
        const auto above = processfiles::stat(stat);
        if (!above || above->parent <= 0)
            return {};
        parent = above->parent;
    }
}

} // namespace hook
