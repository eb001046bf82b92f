#include "daemon/EventsLog.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Descriptor.h"

namespace fs = std::filesystem;

namespace {

// A line's buffer beyond this is not kept for the next.
constexpr std::size_t keptCapacity = std::size_t{64} << 10;

} // namespace

void EventsLog::prepare() const {
    std::error_code ignored;
    fs::create_directories(m_file.parent_path(), ignored);
    ::chmod(m_file.parent_path().c_str(), 0700);
    ::chmod(m_file.c_str(), 0600);
}

void EventsLog::append(const JSONObject& event) {
    m_line.clear();
    if (!json::appendCompact(m_line, event))
        return;
    m_line += '\n';
    try {
        write();
        m_error.clear();
    } catch (const std::system_error& failure) {
        m_error = failure.code();
    }
    if (m_line.capacity() > keptCapacity) {
        m_line.clear();
        m_line.shrink_to_fit();
    }
}

void EventsLog::write() const {
    const auto fail = [](int error) { throw std::system_error(error, std::generic_category()); };
    const Descriptor file(
        ::open(m_file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600));
    if (!file.isValid())
        fail(errno);
    const ssize_t written = ::write(file.number(), m_line.data(), m_line.size());
    if (written < 0)
        fail(errno);
    if (static_cast<std::size_t>(written) < m_line.size()) {
        // On a full disk; without a line feed the part would spoil the next line.
        [[maybe_unused]] const int cut =
            ::ftruncate(file.number(), ::lseek(file.number(), 0, SEEK_END) - written);
        fail(ENOSPC);
    }
}

std::optional<std::chrono::system_clock::time_point> EventsLog::lastWrite() const {
    struct stat status {};
    if (::stat(m_file.c_str(), &status) != 0)
        return std::nullopt;
    return std::chrono::system_clock::from_time_t(status.st_mtim.tv_sec);
}
