#include "FakeBus.h"

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include <systemd/sd-bus.h>
#include <unistd.h>

namespace {

int getIdleTime(sd_bus_message* call, void* data, sd_bus_error*) {
    auto& state = *static_cast<ServiceState*>(data);
    ++state.calls;
    if (state.isSilent)
        return 1;
    const std::uint64_t value = state.idleTime;
    if (std::string_view(sd_bus_message_get_member(call)) == "GetIdletime")
        return sd_bus_reply_method_return(call, "t", value);
    return sd_bus_reply_method_return(call, "u", static_cast<std::uint32_t>(value));
}

int listSessions(sd_bus_message* call, void* data, sd_bus_error*) {
    auto& state = *static_cast<ServiceState*>(data);
    ++state.calls;
    if (state.isSilent)
        return 1;
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(call, &reply);
    sd_bus_message_open_container(reply, 'a', "(susso)");
    for (int i = 0; i < state.sessionCount; ++i) {
        const auto id = std::to_string(i);
        sd_bus_message_append(reply, "(susso)", id.c_str(),
                              state.sessions[static_cast<std::size_t>(i)].userId, "somebody", "",
                              ("/org/freedesktop/login1/session/_3" + id).c_str());
    }
    sd_bus_message_close_container(reply);
    const int result = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return result;
}

int getSeat(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
            sd_bus_error*) {
    return sd_bus_message_append(reply, "(so)", "seat0", "/org/freedesktop/login1/seat/seat0");
}

constexpr sd_bus_vtable mutterMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetIdletime", "", "t", getIdleTime, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

constexpr sd_bus_vtable screenSaverMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetSessionIdleTime", "", "u", getIdleTime, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

constexpr sd_bus_vtable managerMethods[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("ListSessions", "", "a(susso)", listSessions, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

constexpr sd_bus_vtable sessionProperties[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Class", "s", nullptr, offsetof(LoginSession, sessionClass), 0),
    SD_BUS_PROPERTY("IdleHint", "b", nullptr, offsetof(LoginSession, isIdle), 0),
    SD_BUS_PROPERTY("IdleSinceHint", "t", nullptr, offsetof(LoginSession, idleSince), 0),
    SD_BUS_PROPERTY("Remote", "b", nullptr, offsetof(LoginSession, isRemote), 0),
    SD_BUS_PROPERTY("Seat", "(so)", getSeat, 0, 0),
    SD_BUS_PROPERTY("State", "s", nullptr, offsetof(LoginSession, state), 0),
    SD_BUS_PROPERTY("Type", "s", nullptr, offsetof(LoginSession, type), 0),
    SD_BUS_VTABLE_END};

const char* addObjects(sd_bus* bus, ServiceKind kind, ServiceState& state) {
    const auto add = [&](const std::string& path, const char* interface, const sd_bus_vtable* table,
                         void* data) {
        if (sd_bus_add_object_vtable(bus, nullptr, path.c_str(), interface, table, data) < 0)
            _exit(1);
    };
    switch (kind) {
    case ServiceKind::mutter:
        add("/org/gnome/Mutter/IdleMonitor/Core", "org.gnome.Mutter.IdleMonitor", mutterMethods,
            &state);
        return "org.gnome.Mutter.IdleMonitor";
    case ServiceKind::screenSaver:
        add("/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver", screenSaverMethods,
            &state);
        return "org.freedesktop.ScreenSaver";
    case ServiceKind::oldScreenSaver:
        add("/ScreenSaver", "org.freedesktop.ScreenSaver", screenSaverMethods, &state);
        return "org.freedesktop.ScreenSaver";
    case ServiceKind::login:
        break;
    }
    add("/org/freedesktop/login1", "org.freedesktop.login1.Manager", managerMethods, &state);
    for (std::size_t i = 0; i < state.sessions.size(); ++i)
        add("/org/freedesktop/login1/session/_3" + std::to_string(i),
            "org.freedesktop.login1.Session", sessionProperties, &state.sessions[i]);
    return "org.freedesktop.login1";
}

void serve(const std::string& address, ServiceKind kind, ServiceState& state) {
    sd_bus* bus = nullptr;
    if (sd_bus_new(&bus) < 0 || sd_bus_set_address(bus, address.c_str()) < 0 ||
        sd_bus_set_bus_client(bus, 1) < 0 || sd_bus_start(bus) < 0)
        return;
    const char* name = addObjects(bus, kind, state);
    if (sd_bus_request_name(bus, name, 0) < 0)
        return;
    std::puts("ready");
    std::fflush(stdout);
    while (sd_bus_process(bus, nullptr) >= 0 && sd_bus_wait(bus, 100'000) >= 0) {
    }
}

} // namespace

PrivateBus::PrivateBus() {
    const auto& path = m_directory.path();
    m_address = "unix:path=" + (path / "bus").native();
    std::ofstream(path / "bus.conf")
        << "<busconfig><type>session</type><listen>" << m_address << "</listen><servicedir>"
        << path.native() << "</servicedir><policy context=\"default\"><allow own=\"*\"/>"
        << "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/></policy></busconfig>\n";
    std::ofstream(path / "org.gnome.Mutter.IdleMonitor.service")
        << "[D-BUS Service]\nName=org.gnome.Mutter.IdleMonitor\nExec=/usr/bin/touch "
        << (path / "started").native() << "\n";
    start();
}

void PrivateBus::start() {
    std::filesystem::remove(m_directory.path() / "bus");
    m_daemon = std::make_unique<ChildProcess>(
        std::vector<std::string>{"dbus-daemon", "--nofork", "--nopidfile", "--print-address=1",
                                 "--config-file=" + (m_directory.path() / "bus.conf").native()});
    if (!m_daemon->line())
        throw std::runtime_error("dbus-daemon does not start; is the package dbus installed?");
}

bool PrivateBus::hasStartedService() const {
    return std::filesystem::exists(m_directory.path() / "started");
}

FakeService::FakeService(const PrivateBus& bus, ServiceKind kind) {
    m_process = std::make_unique<ChildProcess>([&] { serve(bus.address(), kind, *state); });
    if (m_process->line() != "ready")
        throw std::runtime_error("the fake service does not start");
}
