#include "platform/IdleSources.h"

#include <string>

#include <unistd.h>

#include "platform/IdleBus.h"
#include "platform/IdleSourceKinds.h"

IdleSources idleSourcesOfSystem(const EnvironmentLookup& environment) {
    return idleSourcesOf({.environment = environment, .userId = ::getuid()});
}

IdleSources idleSourcesOf(const IdleSurroundings& surroundings) {
    const auto variable = [&](const char* name) {
        return surroundings.environment(name).value_or(std::string());
    };
    const std::filesystem::path wayland = variable("WAYLAND_DISPLAY");
    const std::filesystem::path runtime = variable("XDG_RUNTIME_DIR");
    const std::string x11 = variable("DISPLAY");
    const bool hasDisplay = !wayland.empty() || !x11.empty();
    const bool hasRemoteShell = !variable("SSH_CONNECTION").empty() || !variable("SSH_TTY").empty();

    const auto sessionBus =
        std::make_shared<IdleBus>(IdleBus::sessionAddress(surroundings.environment));
    IdleSources result;
    result.desktop.push_back(idle::mutterIdleSource(sessionBus));
    // An absolute name stands for itself.
    if (!wayland.empty())
        result.desktop.push_back(idle::waylandIdleSource(runtime / wayland));
    result.desktop.push_back(idle::screenSaverIdleSource(sessionBus));
    if (!x11.empty() && wayland.empty() && variable("XDG_SESSION_TYPE") != "wayland")
        result.desktop.push_back(idle::x11IdleSource(x11));

    result.terminal.push_back(idle::terminalsIdleSource(surroundings.devices, surroundings.userId));
    auto logins = std::make_unique<idle::LoginSessions>(
        std::make_shared<IdleBus>(IdleBus::systemAddress(surroundings.environment)),
        surroundings.userId);
    if (!hasDisplay || hasRemoteShell)
        result.terminalsCount = [] { return true; };
    else
        result.terminalsCount = [&logins = *logins] { return logins.hasRemote(); };
    result.terminal.push_back(std::move(logins));
    return result;
}
