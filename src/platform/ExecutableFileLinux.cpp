#include "platform/ExecutableFile.h"

#include <sys/statvfs.h>
#include <unistd.h>

bool isOnNoexecMount(const std::filesystem::path& path) {
    struct statvfs status {};
    return ::statvfs(path.c_str(), &status) == 0 && (status.f_flag & ST_NOEXEC) != 0;
}

bool isExecutable(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}
