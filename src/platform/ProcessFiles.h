#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <sys/types.h>

/// What the files of a process's directory in proc(5) say.
namespace processfiles {

/// Most that is read of a command line: the system allows 128 KiB for one argument.
inline constexpr std::size_t maximumArguments = std::size_t{256} << 10;
inline constexpr std::size_t maximumStat = 4096;

using Arguments = std::vector<std::string_view>;

/// The arguments in "cmdline", which refer to its text. A program that gave itself a title has it
/// as its only one.
[[nodiscard]] Arguments arguments(std::string_view cmdline);

/// The name of a program in its first argument: without its directory, and without the "-" of a
/// login shell.
[[nodiscard]] std::string_view programName(std::string_view argument);

struct Stat {
    pid_t parent = 0;
    std::uint64_t started = 0; ///< clock ticks since the system started
};

/// Those fields of "stat"; nothing when the text has another form.
[[nodiscard]] std::optional<Stat> stat(std::string_view text);

} // namespace processfiles
