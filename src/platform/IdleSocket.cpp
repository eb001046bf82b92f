#include "platform/IdleSocket.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

Descriptor idlesocket::connectTo(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& text = path.native();
    if (text.empty() || text.size() >= sizeof address.sun_path)
        return {};
    std::ranges::copy(text, address.sun_path);
    Descriptor result(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const auto* const name = reinterpret_cast<const sockaddr*>(&address);
    if (result.isValid() && ::connect(result.number(), name, sizeof address) != 0)
        result.reset();
    return result;
}

bool idlesocket::waitReadable(int descriptor, idle::Deadline deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd waited{descriptor, POLLIN, 0};
        const int result =
            ::poll(&waited, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (result >= 0 || errno != EINTR)
            return result > 0;
    }
}
