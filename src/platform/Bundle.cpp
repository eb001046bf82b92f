#include "platform/Bundle.h"

namespace fs = std::filesystem;

Bundle::Bundle(const fs::path& executable) {
    const fs::path directory = executable.parent_path();
    const bool isInternal = directory.parent_path().filename() == "libexec";
    m_prefix = isInternal ? directory.parent_path().parent_path() : directory.parent_path();
}

Bundle Bundle::ofThisProcess() {
    std::error_code error;
    return Bundle(fs::read_symlink("/proc/self/exe", error));
}

std::optional<fs::path> Bundle::auxiliaryExecutable(const char* name) const {
    std::error_code error;
    fs::path path = m_prefix / "libexec" / "tamsell" / name;
    return fs::is_regular_file(path, error) ? std::optional(std::move(path)) : program(name);
}

std::optional<fs::path> Bundle::program(const char* name) const {
    std::error_code error;
    fs::path path = m_prefix / "bin" / name;
    return fs::is_regular_file(path, error) ? std::optional(std::move(path)) : std::nullopt;
}

fs::path Bundle::resource(const char* name) const {
    return m_prefix / "share" / "tamsell" / name;
}
