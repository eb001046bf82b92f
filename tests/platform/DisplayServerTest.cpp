#include "platform/DisplayServer.h"

#include <cstdlib>

#include <gmock/gmock.h>
#include <xcb/xcb.h>

#include "idle/FakeCompositor.h"
#include "support/FakeEnvironment.h"
#include "support/TemporaryDirectory.h"

namespace {

using Variables = std::map<std::string, std::string>;

DisplayServer probe(const Variables& variables) {
    const auto start = std::chrono::steady_clock::now();
    const DisplayServer result = probeDisplayServer(fakeEnvironment(variables));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "it is bounded";
    return result;
}

struct XServer : ServerProcess {
    XServer() : ServerProcess("Xvfb -displayfd 1 -nolisten tcp -noreset") {}
    const std::string display = ":" + line();
};

TEST(DisplayServer, IsNoneWhereNoDisplayIsNamed) {
    for (const Variables& variables :
         {Variables{}, Variables{{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}},
          Variables{{"XDG_RUNTIME_DIR", "/tmp"}}})
        EXPECT_EQ(probe(variables), DisplayServer::none);
}

TEST(DisplayServer, OfX11IsReachableWhileItAnswers) {
    Variables variables{{"DISPLAY", "no display"}};
    EXPECT_EQ(probe(variables), DisplayServer::unreachable);
    {
        const XServer server;
        variables = {{"DISPLAY", server.display}, {"WAYLAND_DISPLAY", "wayland-9"}};
        EXPECT_EQ(probe(variables), DisplayServer::reachable) << "one of two is enough";
        server.signal(SIGSTOP);
        EXPECT_EQ(probe(variables), DisplayServer::unreachable) << "it hangs";
        server.signal(SIGCONT);
        EXPECT_EQ(probe(variables), DisplayServer::reachable);
    }
    EXPECT_EQ(probe(variables), DisplayServer::unreachable) << "it has ended";
}

TEST(DisplayServer, OfWaylandIsReachableWhileItAnswers) {
    const TemporaryDirectory directory;
    const auto socket = directory / "wayland-7";
    const Variables named{{"WAYLAND_DISPLAY", "wayland-7"},
                          {"XDG_RUNTIME_DIR", directory.path().string()},
                          {"DISPLAY", "no display"}};
    EXPECT_EQ(probe(named), DisplayServer::unreachable);
    FakeCompositor compositor(socket);
    EXPECT_EQ(probe(named), DisplayServer::reachable);
    EXPECT_EQ(probe({{"WAYLAND_DISPLAY", socket.string()}}), DisplayServer::reachable);
    EXPECT_EQ(probe({{"WAYLAND_DISPLAY", "wayland-7"}}), DisplayServer::unreachable)
        << "nothing says where";
    const std::lock_guard hangs(compositor.mutex);
    EXPECT_EQ(probe(named), DisplayServer::unreachable);
}

TEST(X11Compositor, IsWhoOwnsTheScreensSelection) {
    const XServer server;
    ASSERT_EQ(::setenv("DISPLAY", server.display.c_str(), 1), 0);
    EXPECT_FALSE(hasX11Compositor());
    xcb_connection_t* const manager = xcb_connect(nullptr, nullptr);
    const xcb_setup_t* const setup = xcb_get_setup(manager);
    ASSERT_TRUE(setup);
    constexpr std::string_view name = "_NET_WM_CM_S0";
    xcb_intern_atom_reply_t* const atom = xcb_intern_atom_reply(
        manager, xcb_intern_atom(manager, 0, name.size(), name.data()), nullptr);
    ASSERT_TRUE(atom);
    EXPECT_FALSE(hasX11Compositor()) << "the name alone";
    const xcb_window_t window = xcb_generate_id(manager);
    xcb_create_window(manager, XCB_COPY_FROM_PARENT, window,
                      xcb_setup_roots_iterator(setup).data->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto take =
        xcb_set_selection_owner_checked(manager, window, atom->atom, XCB_CURRENT_TIME);
    EXPECT_FALSE(xcb_request_check(manager, take));
    EXPECT_TRUE(hasX11Compositor());
    std::free(atom);
    xcb_disconnect(manager);
    server.signal(SIGKILL);
    EXPECT_FALSE(hasX11Compositor());
    ASSERT_EQ(::unsetenv("DISPLAY"), 0);
    EXPECT_FALSE(hasX11Compositor());
}

} // namespace
