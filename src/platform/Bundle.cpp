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

fs::path Bundle::resource(const char* name) const {
    return m_prefix / "share" / "tamsell" / name;
}
