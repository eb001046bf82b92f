#include "platform/X11Socket.h"

#include <array>
#include <memory>
#include <string_view>

#include <sys/socket.h>
#include <xcb/xcb.h>

#include "core/Descriptor.h"
#include "platform/Allocated.h"
#include "platform/IdleSocket.h"

namespace {

// The number of a display on this computer; nothing for others.
std::optional<int> localDisplay(const std::string& display) {
    char* host = nullptr;
    int number = 0;
    int screen = 0;
    if (display.empty() || xcb_parse_display(display.c_str(), &host, &number, &screen) == 0)
        return std::nullopt;
    const std::unique_ptr<char, Free> owned(host);
    const std::string_view name = host;
    if (!name.empty() && name != "unix")
        return std::nullopt;
    return number;
}

} // namespace

std::optional<bool> x11socket::answers(const std::string& display, idle::Deadline deadline) {
    const auto number = localDisplay(display);
    if (!number)
        return std::nullopt;
    const Descriptor socket = idlesocket::connectTo("/tmp/.X11-unix/X" + std::to_string(*number));
    if (!socket.isValid())
        return std::nullopt;
    // Connection setup: byte order, unused, protocol 11.0, no authorisation. That we show no
    // authority does not matter: a refusal is an answer.
    constexpr std::array<unsigned char, 12> setup{'l', 0, 11};
    return ::send(socket.number(), setup.data(), setup.size(), MSG_NOSIGNAL) ==
               ssize_t{setup.size()} &&
           idlesocket::waitReadable(socket.number(), deadline);
}
