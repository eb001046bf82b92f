#include "platform/IdleSocket.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

int idlesocket::connectTo(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& text = path.native();
    if (text.empty() || text.size() >= sizeof address.sun_path)
        return -1;
    std::ranges::copy(text, address.sun_path);
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return -1;
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return descriptor;
    close(descriptor);
    return -1;
}

bool idlesocket::waitReadable(int descriptor, Deadline deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd waited{descriptor, POLLIN, 0};
        const int result =
            poll(&waited, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (result >= 0 || errno != EINTR)
            return result > 0;
    }
}
