#include "platform/ProcessVariable.h"

#include "core/File.h"

namespace {

// The system's own limit for arguments and environment together is a quarter of the stack, which
// has 8 MiB.
constexpr std::size_t maximumEnvironment = std::size_t{2} << 20;

} // namespace

std::optional<std::string> processVariable(pid_t process, std::string_view name,
                                           const std::filesystem::path& procDirectory) {
    const auto path = procDirectory / std::to_string(process) / "environ";
    const auto text = file::readStart(path.string(), maximumEnvironment);
    // NAME=VALUE, each ended by a NUL.
    for (std::string_view rest = text ? *text : std::string_view(); !rest.empty();) {
        const std::size_t end = rest.find('\0');
        const std::string_view variable = rest.substr(0, end);
        if (variable.starts_with(name) && variable.substr(name.size()).starts_with('='))
            return std::string(variable.substr(name.size() + 1));
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    }
    return std::nullopt;
}
