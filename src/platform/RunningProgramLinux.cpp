#include "platform/RunningProgram.h"

#include <filesystem>
#include <string>

bool runsReplacedFile(pid_t process) {
    // proc(5): the link's text says so.
    std::error_code error;
    const auto link = std::filesystem::path("/proc") / std::to_string(process) / "exe";
    return std::filesystem::read_symlink(link, error).string().ends_with(" (deleted)");
}
