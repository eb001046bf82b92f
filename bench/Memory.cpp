#include "Memory.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {

namespace {

// The number behind a line's name.
std::uint64_t number(const std::filesystem::path& file, const std::string& name) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name))
            return std::stoull(line.substr(name.size()));
    }
    throw std::runtime_error(file.string() + " has no line " + name);
}

std::filesystem::path directory(pid_t process) {
    return "/proc/" + std::to_string(process);
}

} // namespace

double proportionalBytes(pid_t process) {
    return static_cast<double>(number(directory(process) / "smaps_rollup", "Pss:")) * 1024;
}

double residentBytes(pid_t process) {
    return static_cast<double>(number(directory(process) / "smaps_rollup", "Rss:")) * 1024;
}

std::uint64_t voluntarySwitches(pid_t process) {
    std::uint64_t sum = 0;
    for (const auto& thread : std::filesystem::directory_iterator(directory(process) / "task"))
        sum += number(thread.path() / "status", "voluntary_ctxt_switches:");
    return sum;
}

} // namespace bench
