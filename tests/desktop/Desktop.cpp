#include "Desktop.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <stdexcept>

#include <xcb/xcb.h>

#include "support/Until.h"

namespace {

// One bar along the top with nothing but status icons. Without a version of its settings the
// program would ask which ones to begin with.
constexpr std::string_view barSettings = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="length" type="uint" value="100"/>
      <property name="size" type="uint" value="32"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
)";

// Far above those that X servers take by themselves, so that nobody has it before it is used.
std::string ownDisplay() {
    std::random_device random;
    return ":" + std::to_string(std::uniform_int_distribution(1'000, 50'000)(random));
}

void await(bool hasCome, const char* what) {
    if (!hasCome)
        throw std::runtime_error(std::string(what) + " does not come up; is it installed?");
}

} // namespace

Desktop::Desktop() : m_display(ownDisplay()) {
    m_home.put("config/xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml", barSettings);
    std::filesystem::create_directory(m_home / "run");
    std::filesystem::permissions(m_home / "run", std::filesystem::perms::owner_all);
    m_bus = start({"dbus-daemon", "--session", "--nofork", "--nopidfile",
                   "--address=unix:path=" + (m_home / "bus").string(), "--print-address=1"});
    const auto hasAddress = [this] { return m_bus->output().ends_with('\n'); };
    await(until([&] { return hasAddress() || !m_bus->isRunning(); }) && hasAddress(),
          "dbus-daemon");
    m_busAddress = m_bus->output();
    m_busAddress.pop_back();
}

// A killed X server leaves its lock and its socket in /tmp.
Desktop::~Desktop() {
    if (!m_server)
        return;
    m_server->signal(SIGTERM);
    (void)m_server->exitCode();
}

std::unique_ptr<Process> Desktop::start(const std::vector<std::string>& command,
                                        const std::vector<std::string>& variables,
                                        std::string_view input) const {
    const std::string home = m_home.path();
    // Each program replaces the one before it, so that the process stays the same.
    std::vector<std::string> arguments{
        "setpriv", "--pdeathsig", "KILL", "env", "-i", "PATH=/usr/bin:/bin", "LANG=C.UTF-8",
        "HOME=" + home, "XDG_CONFIG_HOME=" + home + "/config", "XDG_CACHE_HOME=" + home + "/cache",
        "XDG_DATA_HOME=" + home + "/data", "XDG_RUNTIME_DIR=" + home + "/run",
        "DISPLAY=" + m_display, "DBUS_SESSION_BUS_ADDRESS=" + m_busAddress,
        // GTK's programs bring nothing else to the bus.
        "NO_AT_BRIDGE=1", "GSETTINGS_BACKEND=memory", "GIO_USE_VFS=local"};
    arguments.insert(arguments.end(), variables.begin(), variables.end());
    arguments.insert(arguments.end(), command.begin(), command.end());
    return std::make_unique<Process>(Process::Command{
        .program = "/usr/bin/setpriv", .arguments = std::move(arguments), .input = input});
}

std::string Desktop::outputOf(const std::vector<std::string>& command) const {
    // What such a program complains of is what it is asked for.
    std::vector<std::string> quietly{"sh", "-c", "exec \"$@\" 2>/dev/null", "sh"};
    quietly.insert(quietly.end(), command.begin(), command.end());
    const auto process = start(quietly);
    (void)process->exitCode();
    return process->output();
}

void Desktop::startDisplay() {
    m_server =
        start({"Xvfb", m_display, "-nolisten", "tcp", "-noreset", "-screen", "0", "1280x800x24"});
    await(until([this] { return !picture({0, 0, 1, 1}).empty(); }), "Xvfb");
    m_windowManager = start({"openbox", "--sm-disable"});
    // Only a window manager knows of desktops.
    await(until([this] { return !outputOf({"xdotool", "get_num_desktops"}).empty(); }), "openbox");
}

void Desktop::startTray() {
    m_tray = start({"xfce4-panel", "--disable-wm-check"});
    await(until([this] {
              return outputOf({"dbus-send", "--session", "--print-reply",
                               "--dest=org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                               "org.freedesktop.DBus.Properties.Get",
                               "string:org.kde.StatusNotifierWatcher",
                               "string:IsStatusNotifierHostRegistered"})
                  .ends_with("boolean true\n");
          }),
          "xfce4-panel");
}

void Desktop::endTray() {
    m_tray->signal(SIGTERM);
    await(m_tray->exitCode() == 0, "the end of xfce4-panel");
}

std::string Desktop::window(std::string_view title) const {
    const std::string found = outputOf({"xdotool", "search", "--onlyvisible", "--limit", "1",
                                        "--name", "^" + std::string(title) + "$"});
    return found.substr(0, found.find('\n'));
}

bool Desktop::willShow(std::string_view title) const {
    return until([&] { return shows(title); });
}

bool Desktop::willHide(std::string_view title) const {
    return until([&] { return !shows(title); });
}

Desktop::Rectangle Desktop::geometry(std::string_view title) const {
    const std::string text =
        outputOf({"xdotool", "search", "--onlyvisible", "--name", "^" + std::string(title) + "$",
                  "getwindowgeometry", "--shell"});
    const auto number = [&](const std::string& name) {
        const std::size_t at = text.find(name + '=');
        return at == std::string::npos ? 0 : std::atoi(text.c_str() + at + name.size() + 1);
    };
    return {number("X"), number("Y"), number("WIDTH"), number("HEIGHT")};
}

std::vector<std::uint8_t> Desktop::picture(const Rectangle& part) const {
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> server(
        xcb_connect(m_display.c_str(), nullptr), &xcb_disconnect);
    const xcb_setup_t* setup = xcb_get_setup(server.get());
    if (!setup)
        return {};
    const xcb_window_t root = xcb_setup_roots_iterator(setup).data->root;
    const auto request = xcb_get_image(
        server.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, root, static_cast<std::int16_t>(part.left),
        static_cast<std::int16_t>(part.top), static_cast<std::uint16_t>(part.width),
        static_cast<std::uint16_t>(part.height), ~0U);
    const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> image(
        xcb_get_image_reply(server.get(), request, nullptr), &std::free);
    if (!image)
        return {};
    const std::uint8_t* bytes = xcb_get_image_data(image.get());
    return {bytes, bytes + xcb_get_image_data_length(image.get())};
}

void Desktop::parkPointer() const {
    (void)outputOf({"xdotool", "mousemove", "1270", "790"});
}

bool Desktop::hasIcon() const {
    Rectangle emptyPart = icon;
    emptyPart.left += 600;
    return picture(icon) != picture(emptyPart);
}

bool Desktop::willShowIcon() const {
    parkPointer();
    return until([this] { return hasIcon(); });
}

bool Desktop::willLoseIcon() const {
    parkPointer();
    return until([this] { return !hasIcon(); });
}

void Desktop::click(const Rectangle& middleOf, int button) const {
    moveTo(middleOf);
    (void)outputOf({"xdotool", "click", std::to_string(button)});
}

void Desktop::doubleClick(const Rectangle& middleOf) const {
    moveTo(middleOf);
    (void)outputOf({"xdotool", "click", "--repeat", "2", "--delay", "30", "1"});
}

void Desktop::moveTo(const Rectangle& middleOf) const {
    (void)outputOf({"xdotool", "mousemove", std::to_string(middleOf.left + middleOf.width / 2),
                    std::to_string(middleOf.top + middleOf.height / 2)});
}

void Desktop::press(std::string_view key) const {
    (void)outputOf({"xdotool", "key", std::string(key)});
}
