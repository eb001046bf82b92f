#include "platform/DisplayServer.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include <wayland-client.h>
#include <xcb/xcb.h>

#include "core/Descriptor.h"
#include "platform/Allocated.h"
#include "platform/IdleSocket.h"
#include "platform/X11Socket.h"

namespace {

using idle::Deadline;

// A display that is alive answers at once, but while a desktop starts everything is slow.
constexpr std::chrono::seconds patience{1};

struct Disconnect {
    void operator()(wl_display* display) const { wl_display_disconnect(display); }
    // Also frees a connection that failed.
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

using X11Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

bool isWaylandReachable(const std::filesystem::path& socket, Deadline deadline) {
    // Not by wl_display_connect, which would use up the connection of WAYLAND_SOCKET.
    Descriptor descriptor = idlesocket::connectTo(socket);
    if (!descriptor.isValid())
        return false;
    // Closes the descriptor, even when it fails.
    const std::unique_ptr<wl_display, Disconnect> display(
        wl_display_connect_to_fd(descriptor.release()));
    if (!display)
        return false;
    wl_callback* const request = wl_display_sync(display.get());
    const bool isAnswered = request && wl_display_flush(display.get()) >= 0 &&
                            idlesocket::waitReadable(wl_display_get_fd(display.get()), deadline) &&
                            wl_display_prepare_read(display.get()) == 0 &&
                            wl_display_read_events(display.get()) == 0;
    if (request)
        wl_callback_destroy(request);
    return isAnswered;
}

bool isX11Reachable(const std::string& display, Deadline deadline) {
    // Where there is no file, XCB may find another kind of socket.
    if (!x11socket::answers(display, deadline).value_or(true))
        return false;
    const X11Connection connection(xcb_connect(display.c_str(), nullptr));
    return xcb_connection_has_error(connection.get()) == 0;
}

} // namespace

DisplayServer probeDisplayServer(const EnvironmentLookup& environment) {
    const auto variable = [&](const char* name) {
        return environment(name).value_or(std::string());
    };
    const std::filesystem::path wayland = variable("WAYLAND_DISPLAY");
    const std::string x11 = variable("DISPLAY");
    if (wayland.empty() && x11.empty())
        return DisplayServer::none;
    const Deadline deadline = std::chrono::steady_clock::now() + patience;
    // An absolute name stands for itself.
    const auto socket = std::filesystem::path(variable("XDG_RUNTIME_DIR")) / wayland;
    const bool isReachable =
        (!wayland.empty() && socket.is_absolute() && isWaylandReachable(socket, deadline)) ||
        (!x11.empty() && isX11Reachable(x11, deadline));
    return isReachable ? DisplayServer::reachable : DisplayServer::unreachable;
}

bool hasX11Compositor() {
    int screen = 0;
    const X11Connection connection(xcb_connect(nullptr, &screen));
    if (xcb_connection_has_error(connection.get()) != 0)
        return false;
    const std::string name = "_NET_WM_CM_S" + std::to_string(screen);
    const std::unique_ptr<xcb_intern_atom_reply_t, Free> atom(xcb_intern_atom_reply(
        connection.get(),
        xcb_intern_atom(connection.get(), 1, static_cast<std::uint16_t>(name.size()), name.c_str()),
        nullptr));
    if (!atom || atom->atom == XCB_ATOM_NONE)
        return false;
    const std::unique_ptr<xcb_get_selection_owner_reply_t, Free> selection(
        xcb_get_selection_owner_reply(
            connection.get(), xcb_get_selection_owner(connection.get(), atom->atom), nullptr));
    return selection && selection->owner != XCB_WINDOW_NONE;
}
