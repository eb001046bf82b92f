#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <systemd/sd-bus.h>

#include "FakeServer.h"

constexpr const char* mutterName = "org.gnome.Mutter.IdleMonitor";
constexpr const char* screenSaverName = "org.freedesktop.ScreenSaver";
constexpr const char* loginName = "org.freedesktop.login1";

/// A message bus of its own.
class PrivateBus : public ChildProcess {
  public:
    explicit PrivateBus(const std::string& address)
        : ChildProcess("dbus-daemon --session --nofork --nopidfile --print-address=1 --address=" +
                       address) {
        line(); // Now it listens.
    }
};

struct LoginSession {
    std::uint32_t userId = 0;
    const char* type = "tty";
    const char* sessionClass = "user";
    const char* state = "active";
    int isRemote = 0;
    int isIdle = 0;
    std::uint64_t idleSince = 0; ///< in microseconds since 1970
};

/// One of the services that tell of idleness, with the methods and signatures of the real one.
class FakeService : public FakeServer {
  public:
    FakeService(const std::string& address, const char* name,
                const char* screenSaver = "/org/freedesktop/ScreenSaver") {
        sd_bus_new(&m_bus);
        sd_bus_set_address(m_bus, address.c_str());
        sd_bus_set_bus_client(m_bus, 1);
        sd_bus_start(m_bus);
        const auto add = [&](const char* path, const char* interface) {
            sd_bus_add_object_vtable(m_bus, nullptr, path, interface, methods, this);
        };
        add("/org/gnome/Mutter/IdleMonitor/Core", mutterName);
        add(screenSaver, screenSaverName);
        add("/org/freedesktop/login1", "org.freedesktop.login1.Manager");
        for (std::size_t i = 0; i < sessions.size(); ++i)
            sd_bus_add_object_vtable(m_bus, nullptr, ("/session/" + std::to_string(i)).c_str(),
                                     "org.freedesktop.login1.Session", properties, &sessions[i]);
        if (sd_bus_request_name(m_bus, name, 0) < 0)
            throw std::runtime_error("the fake service gets no name on the bus");
        run(sd_bus_get_fd(m_bus), [this] {
            while (sd_bus_process(m_bus, nullptr) > 0)
                sd_bus_flush(m_bus);
        });
    }
    ~FakeService() {
        end();
        sd_bus_close_unref(m_bus);
    }

    std::uint64_t idleTime = 0;
    std::array<LoginSession, 3> sessions;

  private:
    static int answer(sd_bus_message* call, void* data, sd_bus_error*) {
        const auto& self = *static_cast<FakeService*>(data);
        const std::string_view method = sd_bus_message_get_member(call);
        if (method == "GetIdletime")
            return sd_bus_reply_method_return(call, "t", self.idleTime);
        if (method == "GetSessionIdleTime")
            return sd_bus_reply_method_return(call, "u", static_cast<unsigned>(self.idleTime));
        return sd_bus_reply_method_return(call, "a(susso)", 3, "0", self.sessions[0].userId, "", "",
                                          "/session/0", "1", self.sessions[1].userId, "", "",
                                          "/session/1", "2", self.sessions[2].userId, "", "",
                                          "/session/2");
    }

    static constexpr sd_bus_vtable methods[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_METHOD("GetIdletime", "", "t", answer, 0),
        SD_BUS_METHOD("GetSessionIdleTime", "", "u", answer, 0),
        SD_BUS_METHOD("ListSessions", "", "a(susso)", answer, 0), SD_BUS_VTABLE_END};
    static constexpr sd_bus_vtable properties[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_PROPERTY("Class", "s", nullptr, offsetof(LoginSession, sessionClass), 0),
        SD_BUS_PROPERTY("IdleHint", "b", nullptr, offsetof(LoginSession, isIdle), 0),
        SD_BUS_PROPERTY("IdleSinceHint", "t", nullptr, offsetof(LoginSession, idleSince), 0),
        SD_BUS_PROPERTY("Remote", "b", nullptr, offsetof(LoginSession, isRemote), 0),
        SD_BUS_PROPERTY("State", "s", nullptr, offsetof(LoginSession, state), 0),
        SD_BUS_PROPERTY("Type", "s", nullptr, offsetof(LoginSession, type), 0),
        SD_BUS_PROPERTY("VTNr", "u", nullptr, offsetof(LoginSession, userId), 0),
        SD_BUS_VTABLE_END};

    sd_bus* m_bus = nullptr;
};
