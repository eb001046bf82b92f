#include "core/AtomicFile.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Descriptor.h"
#include "core/File.h"

namespace fs = std::filesystem;

namespace atomicfile {

namespace {

[[noreturn]] void fail(const fs::path& path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

// Where the rename has to go, so that a link stays one: what it names, whether that exists or not.
fs::path followed(const fs::path& path) {
    fs::path target = path;
    // The kernel follows 40 links as well.
    for (int links = 0; links < 40; ++links) {
        std::error_code notALink;
        const fs::path next = fs::read_symlink(target, notALink);
        if (notALink)
            return target;
        target = next.is_absolute() ? next : target.parent_path() / next;
    }
    errno = ELOOP;
    fail(path);
}

// Removes the temporary file unless it has become the target.
class TemporaryName {
  public:
    explicit TemporaryName(std::string name) : m_name(std::move(name)) {}
    TemporaryName(const TemporaryName&) = delete;
    TemporaryName& operator=(const TemporaryName&) = delete;
    ~TemporaryName() {
        if (!m_name.empty())
            ::unlink(m_name.c_str());
    }

    void release() { m_name.clear(); }
    [[nodiscard]] const char* get() const { return m_name.c_str(); }

  private:
    std::string m_name;
};

void flushDirectory(const fs::path& directory) {
    // So that the rename itself survives a power cut. Not every file system can; that loses
    // nothing.
    const Descriptor descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor.isValid())
        ::fsync(descriptor.number());
}

} // namespace

void write(const fs::path& path, std::string_view bytes, std::optional<mode_t> mode) {
    const fs::path target = followed(path);
    const fs::path directory = target.has_parent_path() ? target.parent_path() : fs::path(".");
    struct stat old {};
    const bool replaces = ::stat(target.c_str(), &old) == 0;
    // The rename would put a plain file in the place of a pipe or of /dev/null.
    if (replaces && !S_ISREG(old.st_mode)) {
        errno = S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
        fail(path);
    }

    std::string pattern = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
    Descriptor descriptor(::mkostemp(pattern.data(), O_CLOEXEC));
    if (!descriptor.isValid())
        fail(path);
    TemporaryName temporary(pattern);

    if (replaces && (old.st_uid != ::geteuid() || old.st_gid != ::getegid())) {
        // Only the superuser may give files away; anyone else keeps at least the group if it can.
        if (::fchown(descriptor.number(), old.st_uid, old.st_gid) != 0 &&
            ::fchown(descriptor.number(), static_cast<uid_t>(-1), old.st_gid) != 0)
            errno = 0;
    }
    const mode_t bits = mode.value_or(replaces ? old.st_mode & 07777 : 0644);
    if (::fchmod(descriptor.number(), bits) != 0)
        fail(path);
    if (!file::writeAll(descriptor.number(), bytes) || ::fsync(descriptor.number()) != 0 ||
        !descriptor.close() || ::rename(temporary.get(), target.c_str()) != 0)
        fail(path);
    temporary.release();
    flushDirectory(directory);
}

} // namespace atomicfile
