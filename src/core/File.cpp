#include "core/File.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/Descriptor.h"

namespace file {

ReadEnd readAll(int descriptor, std::size_t limit, std::string& text) {
    // Most events fit in one piece, and the pages of a larger one would have to be touched first.
    std::array<char, std::size_t{16} << 10> piece; // NOLINT(cppcoreguidelines-pro-type-member-init)
    while (text.size() <= limit) {
        const ssize_t count = ::read(descriptor, piece.data(), piece.size());
        if (count == 0)
            return ReadEnd::whole;
        if (count > 0) {
            text.append(piece.data(), static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd wait{.fd = descriptor, .events = POLLIN, .revents = 0};
            ::poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            return ReadEnd::failed;
        }
    }
    return ReadEnd::cut;
}

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd wait{.fd = descriptor, .events = POLLOUT, .revents = 0};
            ::poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

namespace {

// Non-blocking, so that a pipe in the file's place does not stop the program.
Descriptor opened(const char* path, struct stat& status) {
    Descriptor descriptor(::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (descriptor.isValid() && ::fstat(descriptor.number(), &status) != 0)
        descriptor.reset();
    return descriptor;
}

} // namespace

std::optional<std::string> readStart(const std::string& path, std::size_t limit) {
    struct stat status {};
    const Descriptor descriptor = opened(path.c_str(), status);
    std::string text;
    if (!descriptor.isValid() || !S_ISREG(status.st_mode) ||
        readAll(descriptor.number(), limit, text) == ReadEnd::failed)
        return std::nullopt;
    text.resize(std::min(text.size(), limit));
    return text;
}

std::string read(const std::filesystem::path& path, std::size_t limit) {
    const auto fail = [&](int error) {
        throw std::system_error(error, std::generic_category(), path.string());
    };
    struct stat status {};
    const Descriptor descriptor = opened(path.c_str(), status);
    if (!descriptor.isValid())
        fail(errno);
    if (!S_ISREG(status.st_mode))
        fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    std::string bytes;
    bytes.reserve(std::min(static_cast<std::size_t>(status.st_size), limit));
    switch (readAll(descriptor.number(), limit, bytes)) {
    case ReadEnd::failed:
        fail(errno);
        break;
    case ReadEnd::cut:
        fail(EFBIG);
        break;
    case ReadEnd::whole:
        break;
    }
    return bytes;
}

} // namespace file
