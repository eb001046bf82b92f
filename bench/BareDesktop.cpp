#include "BareDesktop.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

#include <xcb/xcb.h>

namespace bench {

namespace {

// Without folders of services, so that none is started.
constexpr const char* busSettings = R"(<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

constexpr std::chrono::milliseconds interval{5};
constexpr int attempts = 2000;

struct Free {
    void operator()(void* allocated) const { std::free(allocated); }
};

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

std::string pathOf(const std::string& program) {
    if (auto path = findProgram(program))
        return *path;
    throw std::runtime_error(program + " is not installed");
}

// A program that ends with this one, however that ends, and says one line once it is there. Both
// have much to say beside that: Xvfb of every display that somebody else has.
Command saying(const ScratchDirectory& directory, const std::string& output,
               std::vector<std::string> arguments) {
    arguments.front() = pathOf(arguments.front());
    const std::vector<std::string> bound{pathOf("setpriv"), "--pdeathsig", "TERM"};
    arguments.insert(arguments.begin(), bound.begin(), bound.end());
    return {.arguments = std::move(arguments),
            .output = directory.path() / output,
            .errors = "/dev/null"};
}

std::string awaitLine(const ScratchDirectory& directory, const std::string& file) {
    for (int i = 0; i < attempts; ++i) {
        std::ifstream output(directory.path() / file);
        std::string line;
        // Whole only when there is something behind it.
        if (std::getline(output, line) && !output.eof())
            return line;
        std::this_thread::sleep_for(interval);
    }
    throw std::runtime_error("no line in " + file);
}

Command::Environment environmentIn(const std::filesystem::path& home, const std::string& display,
                                   const std::string& bus) {
    const auto folder = [&](const char* name) {
        const auto path = home / name;
        std::filesystem::create_directory(path);
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path.string();
    };
    return {{"PATH", "/usr/bin:/bin"},
            {"LANG", "C.UTF-8"},
            {"HOME", home.string()},
            {"XDG_CONFIG_HOME", folder("config")},
            {"XDG_CACHE_HOME", folder("cache")},
            {"XDG_DATA_HOME", folder("data")},
            {"XDG_RUNTIME_DIR", folder("run")},
            {"DISPLAY", display},
            {"DBUS_SESSION_BUS_ADDRESS", bus}};
}

} // namespace

BareDesktop::BareDesktop()
    : m_bus(saying(m_directory, "bus",
                   {"dbus-daemon",
                    "--config-file=" + m_directory.write("bus.conf", busSettings).string(),
                    "--nofork", "--nopidfile", "--print-address=1"})),
      m_busAddress(awaitLine(m_directory, "bus")),
      m_server(saying(m_directory, "display",
                      {"Xvfb", "-displayfd", "1", "-nolisten", "tcp", "-noreset", "-screen", "0",
                       "1280x800x24"})),
      m_display(":" + awaitLine(m_directory, "display")),
      m_environment(environmentIn(m_directory.path(), m_display, m_busAddress)),
      m_tray(m_busAddress) {}

std::vector<std::uint8_t> BareDesktop::picture() const {
    const std::unique_ptr<xcb_connection_t, Disconnect> server(
        xcb_connect(m_display.c_str(), nullptr));
    const xcb_setup_t* setup = xcb_get_setup(server.get());
    if (!setup)
        throw std::runtime_error("the display is gone");
    const std::unique_ptr<xcb_query_tree_reply_t, Free> tree(xcb_query_tree_reply(
        server.get(), xcb_query_tree(server.get(), xcb_setup_roots_iterator(setup).data->root),
        nullptr));
    if (!tree)
        return {};
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        const xcb_window_t window = xcb_query_tree_children(tree.get())[i];
        const std::unique_ptr<xcb_get_window_attributes_reply_t, Free> attributes(
            xcb_get_window_attributes_reply(
                server.get(), xcb_get_window_attributes(server.get(), window), nullptr));
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE)
            continue;
        const std::unique_ptr<xcb_get_geometry_reply_t, Free> geometry(
            xcb_get_geometry_reply(server.get(), xcb_get_geometry(server.get(), window), nullptr));
        if (!geometry)
            continue;
        const std::unique_ptr<xcb_get_image_reply_t, Free> image(
            xcb_get_image_reply(server.get(),
                                xcb_get_image(server.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0,
                                              geometry->width, geometry->height, ~0U),
                                nullptr));
        if (!image)
            continue;
        const std::uint8_t* bytes = xcb_get_image_data(image.get());
        return {bytes, bytes + xcb_get_image_data_length(image.get())};
    }
    return {};
}

void BareDesktop::await(bool hasWindow) const {
    for (int i = 0; i < attempts; ++i) {
        if (picture().empty() != hasWindow)
            return;
        std::this_thread::sleep_for(interval);
    }
    throw std::runtime_error(hasWindow ? "no window shows" : "a window does not go");
}

void BareDesktop::awaitWindow() const {
    await(true);
}

void BareDesktop::awaitNoWindow() const {
    await(false);
}

} // namespace bench
