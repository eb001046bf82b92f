#include "platform/IdleBus.h"

#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "FakeBus.h"
#include "platform/IdleSourceKinds.h"
#include "platform/IdleSources.h"

using namespace std::chrono_literals;
using testing::IsEmpty;

namespace {

using Milliseconds = std::optional<std::chrono::milliseconds>;
using Variables = std::map<std::string, std::string>;

EnvironmentLookup lookupIn(Variables variables) {
    return [variables = std::move(variables)](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}

std::shared_ptr<IdleBus> connectionTo(const PrivateBus& bus) {
    return std::make_shared<IdleBus>(bus.address());
}

TEST(IdleBus, MutterIsAskedInMilliseconds) {
    PrivateBus bus;
    const auto source = idle::mutterIdleSource(connectionTo(bus));
    EXPECT_EQ(source->read(), std::nullopt);
    EXPECT_FALSE(bus.hasStartedService()) << "asking must not start a desktop";

    FakeService mutter(bus, ServiceKind::mutter);
    for (const std::uint64_t value : {0ull, 4711ull, 86'400'000'000ull}) {
        mutter.state->idleTime = value;
        EXPECT_EQ(source->read(), Milliseconds(value));
    }
    mutter.state->idleTime = ~0ull;
    EXPECT_EQ(source->read(), std::nullopt);
}

TEST(IdleBus, ScreenSaverIsFoundAtBothPathsAndInBothUnits) {
    for (const auto kind : {ServiceKind::screenSaver, ServiceKind::oldScreenSaver}) {
        PrivateBus bus;
        FakeService service(bus, kind);
        std::chrono::steady_clock::time_point now{1h};
        const auto source = idle::screenSaverIdleSource(connectionTo(bus), [&] { return now; });
        Milliseconds value;
        for (std::uint32_t seconds = 100; seconds <= 112; seconds += 2, now += 2s) {
            service.state->idleTime =
                kind == ServiceKind::screenSaver ? seconds * 1000ull : seconds;
            value = source->read();
        }
        EXPECT_EQ(value, 112s);
    }
}

TEST(IdleBus, AServiceThatNeverAnswersIsBoundedAndHoldsNobodyUp) {
    PrivateBus bus;
    FakeService mutter(bus, ServiceKind::mutter);
    FakeService screenSaver(bus, ServiceKind::screenSaver);
    const auto connection = connectionTo(bus);
    const auto source = idle::mutterIdleSource(connection);
    const auto other = idle::screenSaverIdleSource(connection);
    mutter.state->idleTime = 1000;
    screenSaver.state->idleTime = 2000;
    EXPECT_EQ(source->read(), 1s);
    mutter.state->isSilent = true;
    Milliseconds value;
    EXPECT_TRUE(isBounded([&] { value = source->read(); }));
    EXPECT_EQ(value, std::nullopt);
    EXPECT_EQ(other->read(), 2s) << "the other service on the same connection";
    mutter.state->isSilent = false;
    EXPECT_EQ(source->read(), 1s);
}

TEST(IdleBus, ABusThatNeverFinishesTheHandshakeIsBounded) {
    TemporaryDirectory directory;
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    const auto path = (directory.path() / "bus").native();
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    const auto source = idle::mutterIdleSource(std::make_shared<IdleBus>("unix:path=" + path));
    // The later ones find the queue full, which a blocking connect would wait for.
    for (int i = 0; i < 4; ++i) {
        Milliseconds value = 1ms;
        EXPECT_TRUE(isBounded([&] { value = source->read(); }));
        EXPECT_EQ(value, std::nullopt);
    }
    close(listener);
}

TEST(IdleBus, ABusThatCameBackIsUsedAtOnce) {
    PrivateBus bus;
    auto mutter = std::make_unique<FakeService>(bus, ServiceKind::mutter);
    const auto source = idle::mutterIdleSource(connectionTo(bus));
    EXPECT_EQ(source->read(), 0s);
    bus.stop();
    EXPECT_EQ(source->read(), std::nullopt);
    bus.start();
    mutter = std::make_unique<FakeService>(bus, ServiceKind::mutter);
    mutter->state->idleTime = 3000;
    EXPECT_EQ(source->read(), 3s);
    bus.stop();
    bus.start();
    mutter = std::make_unique<FakeService>(bus, ServiceKind::mutter);
    mutter->state->idleTime = 4000;
    EXPECT_EQ(source->read(), 4s);
}

TEST(IdleBus, OnlyAddressesThatNeedNoResolverAndNoProgramAreUsed) {
    PrivateBus bus;
    FakeService mutter(bus, ServiceKind::mutter);
    TemporaryDirectory directory;
    const auto marker = (directory.path() / "ran").native();
    const std::string program = "unixexec:path=/usr/bin/touch,argv1=" + marker;
    EXPECT_EQ(idle::mutterIdleSource(std::make_shared<IdleBus>(program))->read(), std::nullopt);
    const auto both = std::make_shared<IdleBus>(program + ";" + bus.address());
    EXPECT_EQ(idle::mutterIdleSource(both)->read(), 0s);
    EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST(IdleBus, TheAddressOfTheSessionBus) {
    EXPECT_EQ(IdleBus::sessionAddress(lookupIn({{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/a"},
                                                {"XDG_RUNTIME_DIR", "/run/user/7"}})),
              "unix:path=/a");
    EXPECT_EQ(IdleBus::sessionAddress(lookupIn({{"XDG_RUNTIME_DIR", "/run/u ser,7"}})),
              "unix:path=/run/u%20ser%2c7/bus");
    EXPECT_THAT(IdleBus::sessionAddress(lookupIn({})), IsEmpty());
    EXPECT_THAT(IdleBus::sessionAddress(lookupIn({{"XDG_RUNTIME_DIR", "relative"}})), IsEmpty());
}

/// The whole, as the daemon has it, on a desktop and beside it.
TEST(IdleBus, TheSourcesOfTheSystemOpenNothingBeforeTheyAreRead) {
    PrivateBus session;
    PrivateBus system;
    FakeService mutter(session, ServiceKind::mutter);
    FakeService login(system, ServiceKind::login);
    mutter.state->idleTime = 500'000;
    login.state->sessions[0] = {.userId = 1000, .isRemote = 1};
    login.state->sessions[0].idleSince =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                       (std::chrono::system_clock::now() - 70s).time_since_epoch())
                                       .count());
    TemporaryDirectory devices;
    const Variables desktop{{"DBUS_SESSION_BUS_ADDRESS", session.address()},
                            {"DBUS_SYSTEM_BUS_ADDRESS", system.address()},
                            {"XDG_RUNTIME_DIR", devices.path()},
                            {"WAYLAND_DISPLAY", "wayland-0"}};
    const auto read = [&](const Variables& variables) {
        IdleTime idle(idleSourcesOf({lookupIn(variables), 1000, devices.path()}));
        EXPECT_EQ(mutter.state->calls + login.state->calls, 0);
        const auto value = idle.sinceLastInput();
        mutter.state->calls = 0;
        login.state->calls = 0;
        return std::pair(std::chrono::round<std::chrono::seconds>(value), idle.sourceName());
    };
    const std::string mutterName = "GNOME Mutter";
    EXPECT_EQ(read(desktop), std::pair(500s, mutterName)) << "nobody is logged in from elsewhere";
    login.state->sessionCount = 1;
    EXPECT_EQ(read(desktop), std::pair(70s, mutterName + ", logind"));

    login.state->sessions[0].isRemote = 0;
    EXPECT_EQ(read(desktop), std::pair(500s, mutterName));
    auto withoutDisplay = desktop;
    withoutDisplay.erase("WAYLAND_DISPLAY");
    EXPECT_EQ(read(withoutDisplay), std::pair(70s, mutterName + ", logind"));
    auto overSSH = desktop;
    overSSH["SSH_CONNECTION"] = "192.0.2.1 50000 192.0.2.2 22";
    EXPECT_EQ(read(overSSH), std::pair(70s, mutterName + ", logind"));
}

} // namespace
