#include "platform/ExecutableFile.h"

#include <sys/statvfs.h>

bool isOnNoexecMount(const std::filesystem::path& path) {
    struct statvfs status {};
    return ::statvfs(path.c_str(), &status) == 0 && (status.f_flag & ST_NOEXEC) != 0;
}
