#include "hook/File.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "core/Descriptor.h"

namespace hook {

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

std::optional<std::string> readFile(const std::string& path, std::size_t limit) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    if (!file.isValid() || readAll(file.number(), limit, text) == ReadEnd::failed)
        return std::nullopt;
    text.resize(std::min(text.size(), limit));
    return text;
}

} // namespace hook
