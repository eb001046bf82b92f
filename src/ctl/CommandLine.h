#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/DaemonError.h"
#include "ctl/Context.h"

namespace ctl {

/// What stands behind a command's name.
struct Arguments {
    std::vector<std::string> words;
    bool json = false;
    bool ask = false;
    bool restore = false;
    bool fix = false;
    bool yes = false;
    std::optional<std::string> message;
};

/// One command of the program.
struct Command {
    std::string_view name;     ///< one or two words
    std::string_view synopsis; ///< what may follow the name
    std::string_view summary;  ///< a key of `localized`
    std::size_t fewest;        ///< words behind the name
    std::size_t most;
    std::vector<std::string_view> options; ///< those that it knows
    /// @return the exit code
    /// @throws DaemonError and others, for exit code 1; UsageError for exit code 2
    int (*run)(const Context& context, const Arguments& arguments);
};

/// The program was called in a way that means nothing.
class UsageError final : public DaemonError {
  public:
    using DaemonError::DaemonError;
};

/// Every command, in the order of the help.
[[nodiscard]] const std::vector<Command>& commands();

/// The help of the program, or of one command.
[[nodiscard]] std::string usage();
[[nodiscard]] std::string usage(const Command& command);

/// A command and what it is given.
struct Call {
    const Command* command = nullptr; ///< none: the help of the program was asked for
    Arguments arguments;
    bool helpOnly = false;
};

/// Reads what stands behind the program's name. "--" ends the options.
/// @throws UsageError
[[nodiscard]] Call parse(std::span<char* const> arguments);

} // namespace ctl
