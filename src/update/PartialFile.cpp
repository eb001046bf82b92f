#include "update/PartialFile.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/File.h"
#include "update/DownloadName.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view prefix = ".tamsell-update-";
constexpr std::string_view suffix = ".part";
constexpr const char* nameTemplate = ".tamsell-update-XXXXXX.part";
constexpr int maximumNumber = 999;

[[noreturn]] void fail(const fs::path& path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

// One that is locked belongs to a program that still runs.
void removeLeftovers(const fs::path& folder) {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with(prefix) || !name.ends_with(suffix))
            continue;
        const Descriptor file(
            ::open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (file.isValid() && ::flock(file.number(), LOCK_EX | LOCK_NB) == 0)
            ::unlink(entry.path().c_str());
    }
}

} // namespace

PartialFile::PartialFile(fs::path folder) : m_folder(std::move(folder)) {
    removeLeftovers(m_folder);
    std::string pattern = (m_folder / nameTemplate).string();
    m_file = Descriptor(
        ::mkostemps(pattern.data(), static_cast<int>(suffix.size()), O_CLOEXEC)); // Mode 0600.
    if (!m_file.isValid())
        fail(pattern);
    m_path = pattern;
    // A file system without locks costs another program's download at worst.
    ::flock(m_file.number(), LOCK_EX | LOCK_NB);
}

PartialFile::~PartialFile() {
    if (!m_path.empty())
        ::unlink(m_path.c_str());
}

void PartialFile::append(std::string_view bytes) {
    if (!file::writeAll(m_file.number(), bytes))
        fail(m_path);
}

Descriptor PartialFile::duplicate() const {
    Descriptor copy(::fcntl(m_file.number(), F_DUPFD_CLOEXEC, 0));
    if (!copy.isValid())
        fail(m_path);
    return copy;
}

fs::path PartialFile::publish(std::string_view name) {
    fs::path path = m_folder / name;
    for (int number = 1;; ++number) {
        // An empty file holds the name, because a rename would replace whatever has it.
        const Descriptor place(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (place.isValid())
            break;
        if (errno != EEXIST || number > maximumNumber)
            fail(path);
        path = m_folder / downloadname::numbered(name, number);
    }
    // File systems without modes of their own (FAT) may refuse it, and have everybody read it
    // anyway.
    (void)::fchmod(m_file.number(), 0644);
    if (::rename(m_path.c_str(), path.c_str()) != 0) {
        const int error = std::exchange(errno, 0);
        ::unlink(path.c_str());
        errno = error;
        fail(path);
    }
    m_path.clear();
    return path;
}
