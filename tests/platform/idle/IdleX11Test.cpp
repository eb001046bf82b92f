#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "platform/IdleSourceKinds.h"
#include "platform/IdleSources.h"

using namespace std::chrono_literals;

namespace {

using Milliseconds = std::optional<std::chrono::milliseconds>;

/// An X server without a screen, on a display that it chooses, for those who know its cookie: as
/// desktops start theirs.
class XServer {
  public:
    XServer() {
        const auto authority = (m_directory.path() / "authority").native();
        // One entry for every host and display: family, address, number, name, data, each text
        // with its length in two bytes.
        std::ofstream(authority, std::ios::binary)
            << std::string("\xff\xff\0\0\0\0\0\x12MIT-MAGIC-COOKIE-1\0\x10", 28)
            << "0123456789abcdef";
        setenv("XAUTHORITY", authority.c_str(), 1);
        m_process = std::make_unique<ChildProcess>(
            std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0", "320x240x24",
                                     "-nolisten", "tcp", "-noreset", "-auth", authority});
        const auto number = m_process->line();
        if (!number)
            throw std::runtime_error("Xvfb does not start; is the package xvfb installed?");
        m_display = ":" + *number;
    }
    ~XServer() { unsetenv("XAUTHORITY"); }

    [[nodiscard]] const std::string& display() const { return m_display; }
    void signal(int number) const { m_process->signal(number); }

    void pressKey() const {
        setenv("DISPLAY", m_display.c_str(), 1);
        ASSERT_EQ(ChildProcess(std::vector<std::string>{"xdotool", "key", "a"}).wait(), 0);
        unsetenv("DISPLAY");
    }

  private:
    TemporaryDirectory m_directory;
    std::unique_ptr<ChildProcess> m_process;
    std::string m_display;
};

TEST(IdleX11, CountsFromTheLastKey) {
    const XServer server;
    const auto source = idle::x11IdleSource(server.display());
    for (int i = 0; i < 2; ++i) {
        Milliseconds before;
        ASSERT_TRUE(waitFor([&] { return (before = source->read()) >= 1500ms; }));
        server.pressKey();
        const auto after = source->read();
        ASSERT_TRUE(after);
        EXPECT_LT(*after, *before);
    }
}

TEST(IdleX11, AServerThatHangsIsBoundedAndIsReadAgainLater) {
    const XServer server;
    const auto connected = idle::x11IdleSource(server.display());
    ASSERT_TRUE(connected->read());
    server.signal(SIGSTOP);
    const auto unconnected = idle::x11IdleSource(server.display());
    for (const auto& source : {connected.get(), connected.get(), unconnected.get()}) {
        Milliseconds value = 1ms;
        EXPECT_TRUE(isBounded([&] { value = source->read(); }));
        EXPECT_EQ(value, std::nullopt);
    }
    server.signal(SIGCONT);
    EXPECT_TRUE(waitFor([&] { return connected->read().has_value(); }));
}

TEST(IdleX11, DisplaysOfOtherComputersAndNonsenseAreNotWaitedFor) {
    for (const char* display : {"192.0.2.1:0", "localhost:10.0", "", "nonsense", ":987654"}) {
        Milliseconds value = 1ms;
        EXPECT_TRUE(isBounded([&] { value = idle::x11IdleSource(display)->read(); })) << display;
        EXPECT_EQ(value, std::nullopt) << display;
    }
}

TEST(IdleX11, IsAskedInAnX11SessionOnly) {
    const XServer server;
    const TemporaryDirectory nothing;
    const auto sourceIn = [&](std::map<std::string, std::string> session) {
        session["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=" + (nothing.path() / "bus").native();
        session["XDG_RUNTIME_DIR"] = nothing.path();
        IdleTime idle(idleSourcesOf({[&](const char* name) -> std::optional<std::string> {
                                         const auto found = session.find(name);
                                         if (found == session.end())
                                             return std::nullopt;
                                         return found->second;
                                     },
                                     1000, nothing.path()}));
        (void)idle.sinceLastInput();
        return idle.sourceName();
    };
    const auto& display = server.display();
    EXPECT_EQ(sourceIn({{"DISPLAY", display}, {"XDG_SESSION_TYPE", "x11"}}), "X11 screen saver");
    EXPECT_EQ(sourceIn({{"DISPLAY", display}}), "X11 screen saver");
    EXPECT_EQ(sourceIn({{"DISPLAY", display}, {"XDG_SESSION_TYPE", "wayland"}}), "");
    EXPECT_EQ(sourceIn({{"DISPLAY", display}, {"WAYLAND_DISPLAY", "wayland-0"}}), "");
}

} // namespace
