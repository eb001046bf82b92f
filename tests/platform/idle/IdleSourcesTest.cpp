#include <cstdlib>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FakeBus.h"
#include "FakeCompositor.h"
#include "platform/IdleBus.h"
#include "platform/IdleSourceKinds.h"
#include "platform/IdleSources.h"
#include "platform/IdleTime.h"
#include "support/FakeEnvironment.h"
#include "support/TemporaryDirectory.h"

using namespace std::chrono_literals;

namespace {

using Milliseconds = std::optional<std::chrono::milliseconds>;
constexpr std::uint32_t user = 1000;

/// Reads, which has to end within a bound that leaves room for a busy machine, but is well below
/// any default time-out.
Milliseconds boundedRead(IdleSource& source) {
    const auto start = std::chrono::steady_clock::now();
    const auto value = source.read();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    return value;
}

class IdleSourcesTest : public testing::Test {
  protected:
    /// An X server without a screen, on a display that it chooses.
    struct XServer : ServerProcess {
        XServer() : ServerProcess("Xvfb -displayfd 1 -nolisten tcp -noreset") {}
        const std::string display = ":" + line();
    };

    /// In microseconds since 1970.
    [[nodiscard]] std::uint64_t ago(std::chrono::seconds time) const {
        return static_cast<std::uint64_t>((wall - time).time_since_epoch() / 1us);
    }

    TemporaryDirectory directory;
    std::string address = "unix:path=" + (directory / "bus").native();
    std::chrono::system_clock::time_point wall = std::chrono::system_clock::now();
    std::chrono::steady_clock::time_point now{1h};
    idle::SteadyClock clock = [this] { return now; };
};

TEST_F(IdleSourcesTest, MutterIsFoundAgainAfterTheBusHungAndAfterItCameBack) {
    const auto source = idle::mutterIdleSource(std::make_shared<IdleBus>(address));
    for (const auto value : {4711ms, 86'400'000ms}) {
        EXPECT_EQ(source->read(), std::nullopt);
        const PrivateBus bus(address);
        FakeService mutter(address, mutterName);
        EXPECT_EQ(source->read(), 0ms);
        bus.signal(SIGSTOP);
        EXPECT_EQ(boundedRead(*source), std::nullopt);
        const auto unconnected = idle::mutterIdleSource(std::make_shared<IdleBus>(address));
        EXPECT_EQ(boundedRead(*unconnected), std::nullopt);
        mutter.idleTime = static_cast<std::uint64_t>(value.count());
        bus.signal(SIGCONT);
        EXPECT_EQ(source->read(), value);
    }
}

TEST_F(IdleSourcesTest, ScreenSaverIsFoundAtBothPathsAndInBothUnits) {
    const PrivateBus bus(address);
    for (const std::uint64_t unit : {1000U, 1U}) {
        FakeService service(address, screenSaverName,
                            unit == 1 ? "/ScreenSaver" : "/org/freedesktop/ScreenSaver");
        const auto source = idle::screenSaverIdleSource(std::make_shared<IdleBus>(address), clock);
        Milliseconds value;
        for (std::uint64_t seconds = 100; seconds <= 112; seconds += 2, now += 2s) {
            service.idleTime = seconds * unit;
            value = source->read();
        }
        EXPECT_EQ(value, 112s);
    }
}

TEST_F(IdleSourcesTest, LoginSessionsOfTheUserThatTellOfInput) {
    const PrivateBus bus(address);
    FakeService login(address, loginName);
    idle::LoginSessions logins(
        std::make_shared<IdleBus>(address), user, [&] { return wall; }, clock);
    EXPECT_EQ(logins.read(), std::nullopt) << "nobody is logged in";
    auto& desktop = login.sessions[1];
    login.sessions = {{{.userId = user, .idleSince = ago(42s)},
                       {.userId = user, .type = "wayland", .idleSince = ago(2s)},
                       {.userId = user + 1, .isRemote = 1, .idleSince = ago(1s)}}};
    EXPECT_EQ(logins.read(), 42s) << "a desktop that says 'not idle' may say so for ever";
    desktop.isIdle = 1;
    EXPECT_EQ(logins.read(), 2s) << "one that does tell";
    desktop = {.userId = user, .isRemote = 1};
    now += 9s;
    EXPECT_FALSE(logins.hasRemote()) << "not asked at each tick";
    now += 1s;
    EXPECT_TRUE(logins.hasRemote());
    {
        const std::lock_guard hang(login.mutex);
        EXPECT_EQ(boundedRead(logins), std::nullopt);
        now += 59s;
        EXPECT_TRUE(logins.hasRemote()) << "as it last said";
    }
    desktop.isRemote = 0;
    now += 1s;
    EXPECT_FALSE(logins.hasRemote());
}

TEST_F(IdleSourcesTest, TerminalsTellWhenTheUserTypedLast) {
    const auto terminal = [&](const std::string& name, std::chrono::minutes before) {
        const auto time = (wall - before).time_since_epoch();
        const timespec times[2] = {{time / 1s, time % 1s / 1ns}, {0, UTIME_OMIT}};
        ASSERT_EQ(utimensat(AT_FDCWD, directory.put(name, "").c_str(), times, 0), 0);
    };
    const auto read = [&](std::uint32_t whose) {
        return idle::terminalsIdleSource(directory.path(), whose, [&] { return wall; })->read();
    };
    directory.put("pts/3", "");
    EXPECT_TRUE(read(getuid())) << "opened only, but better than nothing";
    // Typed at a moment after it was opened, and before an agent opens the next one.
    wall = std::chrono::system_clock::now() + 50ms;
    terminal("pts/3", 0min);
    while (std::chrono::system_clock::now() < wall + 50ms)
        std::this_thread::yield();
    directory.put("pts/8", "");
    EXPECT_EQ(read(getuid()), 0ms);
    EXPECT_EQ(read(getuid() + 1), std::nullopt) << "terminals of others";

    wall += 1h;
    EXPECT_EQ(read(getuid()), 1h);
    terminal("tty2", 20min);
    terminal("pts/11", 30min);
    // What is read there is output, or another's.
    for (const char* const name : {"pts/ptmx", "tty", "ttyUSB0"})
        terminal(name, 5min);
    EXPECT_EQ(read(getuid()), 20min);
}

TEST_F(IdleSourcesTest, WaylandCountsFromTheMessageThatTheUserIsIdle) {
    const auto socket = directory / "wayland-7";
    const auto source = idle::waylandIdleSource(socket, clock);
    for (int run = 0; run < 2; ++run) { // The second after the connection was lost.
        FakeCompositor compositor(socket);
        EXPECT_EQ(source->read(), std::nullopt);
        compositor.addNotifier();
        EXPECT_EQ(source->read(), 0ms);
        compositor.idle();
        EXPECT_EQ(source->read(), 1s);
        now += 300s;
        EXPECT_EQ(source->read(), 301s);
        // Back and gone again between two readings.
        compositor.resume();
        compositor.idle();
        EXPECT_EQ(source->read(), 1s);
        compositor.resume();
        EXPECT_EQ(source->read(), 0ms);

        const std::lock_guard hang(compositor.mutex);
        EXPECT_EQ(boundedRead(*idle::waylandIdleSource(socket, clock)), std::nullopt);
        EXPECT_EQ(boundedRead(*source), 0ms);
    }
}

TEST_F(IdleSourcesTest, X11CountsFromTheLastKey) {
    const XServer server;
    const auto source = idle::x11IdleSource(server.display);
    Milliseconds before;
    while ((before = source->read()) < 500ms)
        ASSERT_TRUE(before);
    EXPECT_EQ(std::system(("DISPLAY=" + server.display + " xdotool key a").c_str()), 0);
    EXPECT_LT(source->read(), before);

    server.signal(SIGSTOP);
    EXPECT_EQ(boundedRead(*source), std::nullopt);
    EXPECT_EQ(boundedRead(*source), std::nullopt) << "connecting again";
    server.signal(SIGCONT);
    EXPECT_TRUE(source->read());
    for (const char* const display : {"192.0.2.1:0", "localhost:10.0", "", ":987654"})
        EXPECT_EQ(boundedRead(*idle::x11IdleSource(display)), std::nullopt) << display;
}

/// The whole, as the daemon has it, on a desktop and beside it.
TEST_F(IdleSourcesTest, TheSourcesOfTheSystem) {
    const PrivateBus bus(address);
    FakeService login(address, loginName);
    login.sessions[0] = {.userId = user, .idleSince = ago(42s)};
    const XServer server;
    FakeCompositor compositor(directory / "wayland-0");
    compositor.addNotifier();
    const auto sources = [&](std::map<std::string, std::string> variables) {
        variables["DBUS_SYSTEM_BUS_ADDRESS"] = address;
        variables["XDG_RUNTIME_DIR"] = directory.path(); // Where the session's bus is, too.
        IdleTime idle(idleSourcesOf({fakeEnvironment(variables), user, directory.path()}));
        (void)idle.sinceLastInput();
        return idle.sourceName();
    };
    const std::pair x11("DISPLAY", server.display);
    const std::pair wayland("WAYLAND_DISPLAY", "wayland-0");
    EXPECT_EQ(sources({x11}), "X11 screen saver");
    EXPECT_EQ(sources({x11, {"XDG_SESSION_TYPE", "wayland"}}), "") << "it sees no input there";
    EXPECT_EQ(sources({x11, wayland}), "Wayland ext-idle-notify-v1");
    const FakeService screenSaver(address, screenSaverName);
    EXPECT_EQ(sources({x11}), "org.freedesktop.ScreenSaver");
    const FakeService mutter(address, mutterName);
    EXPECT_EQ(sources({wayland}), "GNOME Mutter");
    EXPECT_EQ(sources({wayland, {"SSH_CONNECTION", "192.0.2.1"}}), "GNOME Mutter, logind");
    EXPECT_EQ(sources({}), "GNOME Mutter, logind");
    login.sessions[0].isRemote = 1;
    EXPECT_EQ(sources({wayland}), "GNOME Mutter, logind");
}

} // namespace
