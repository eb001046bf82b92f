#pragma once

#include <array>
#include <cstdint>

#include <systemd/sd-bus.h>

#include "FakeServer.h"

constexpr const char* mutterName = "org.gnome.Mutter.IdleMonitor";
constexpr const char* screenSaverName = "org.freedesktop.ScreenSaver";
constexpr const char* loginName = "org.freedesktop.login1";

/// A message bus of its own.
class PrivateBus : public ServerProcess {
  public:
    explicit PrivateBus(const std::string& address)
        : ServerProcess("dbus-daemon --session --nofork --nopidfile --print-address=1 --address=" +
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
                const char* screenSaver = "/org/freedesktop/ScreenSaver")
        : m_screenSaver(screenSaver) {
        sd_bus_new(&m_bus);
        sd_bus_set_address(m_bus, address.c_str());
        sd_bus_set_bus_client(m_bus, 1);
        sd_bus_start(m_bus);
        sd_bus_add_fallback(m_bus, nullptr, "/", answer, this);
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
        const std::string path = sd_bus_message_get_path(call);
        const auto asks = [&](const std::string& object, const char* interface, const char* name) {
            return path == object && sd_bus_message_is_method_call(call, interface, name) > 0;
        };
        if (asks("/org/gnome/Mutter/IdleMonitor/Core", mutterName, "GetIdletime"))
            return sd_bus_reply_method_return(call, "t", self.idleTime);
        if (asks(self.m_screenSaver, screenSaverName, "GetSessionIdleTime"))
            return sd_bus_reply_method_return(call, "u", static_cast<unsigned>(self.idleTime));
        if (asks("/org/freedesktop/login1", "org.freedesktop.login1.Manager", "ListSessions"))
            return sd_bus_reply_method_return(call, "a(susso)", 3, "0", self.sessions[0].userId, "",
                                              "", "/0", "1", self.sessions[1].userId, "", "", "/1",
                                              "2", self.sessions[2].userId, "", "", "/2");
        if (!asks(path, "org.freedesktop.DBus.Properties", "GetAll"))
            return 0;
        const auto& session = self.sessions.at(static_cast<std::size_t>(path.back() - '0'));
        return sd_bus_reply_method_return(
            call, "a{sv}", 7, "Class", "s", session.sessionClass, "IdleHint", "b", session.isIdle,
            "IdleSinceHint", "t", session.idleSince, "Remote", "b", session.isRemote, "State", "s",
            session.state, "Type", "s", session.type, "VTNr", "u", session.userId);
    }

    std::string m_screenSaver;
    sd_bus* m_bus = nullptr;
};
