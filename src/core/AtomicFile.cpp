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

struct Attributes {
    mode_t mode = 0644;
    uid_t owner = ::geteuid();
    gid_t group = ::getegid();
};

Attributes attributesOf(const struct stat& status) {
    return {.mode = status.st_mode & 07777, .owner = status.st_uid, .group = status.st_gid};
}

// Nothing when the path does not lead to anything.
std::optional<Attributes> replaced(const fs::path& target, const fs::path& path) {
    struct stat old {};
    if (::stat(target.c_str(), &old) != 0)
        return std::nullopt;
    // The rename would put a plain file in the place of a pipe or of /dev/null.
    if (!S_ISREG(old.st_mode)) {
        errno = S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
        fail(path);
    }
    return attributesOf(old);
}

// @return whether the condition held
bool replace(const fs::path& path, const fs::path& target, std::string_view bytes,
             const Attributes& attributes, const std::function<bool()>& condition) {
    const fs::path directory = target.has_parent_path() ? target.parent_path() : fs::path(".");
    std::string pattern = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
    Descriptor descriptor(::mkostemp(pattern.data(), O_CLOEXEC));
    if (!descriptor.isValid())
        fail(path);
    TemporaryName temporary(pattern);

    mode_t mode = attributes.mode;
    if ((attributes.owner != ::geteuid() || attributes.group != ::getegid()) &&
        ::fchown(descriptor.number(), attributes.owner, attributes.group) != 0) {
        // Only the superuser may give files away; anyone else keeps at least the group if it can.
        // Rights of another owner or group are not for this one.
        mode &= 01777;
        if (::fchown(descriptor.number(), static_cast<uid_t>(-1), attributes.group) != 0)
            mode &= 01707;
    }
    if (::fchmod(descriptor.number(), mode) != 0 || !file::writeAll(descriptor.number(), bytes) ||
        ::fsync(descriptor.number()) != 0 || !descriptor.close())
        fail(path);
    if (condition && !condition())
        return false;
    if (::rename(temporary.get(), target.c_str()) != 0)
        fail(path);
    temporary.release();
    flushDirectory(directory);
    return true;
}

} // namespace

fs::path targetOf(const fs::path& path) {
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

void write(const fs::path& path, std::string_view bytes, std::optional<mode_t> mode) {
    (void)writeIf(path, bytes, nullptr, mode);
}

bool writeIf(const fs::path& path, std::string_view bytes, const std::function<bool()>& condition,
             std::optional<mode_t> mode) {
    const fs::path target = targetOf(path);
    Attributes attributes = replaced(target, path).value_or(Attributes());
    attributes.mode = mode.value_or(attributes.mode);
    return replace(path, target, bytes, attributes, condition);
}

void writeLike(const fs::path& model, const fs::path& path, std::string_view bytes) {
    struct stat status {};
    if (::stat(model.c_str(), &status) != 0)
        fail(model);
    const fs::path target = targetOf(path);
    (void)replaced(target, path);
    (void)replace(path, target, bytes, attributesOf(status), nullptr);
}

} // namespace atomicfile
