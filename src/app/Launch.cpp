#include "app/Launch.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "core/Log.h"

namespace {

using namespace std::chrono_literals;

// The first launch answers from its event loop, which nothing holds up for longer.
constexpr auto launchPatience = 3s;

Launch withoutSocket(const std::system_error& failure) {
    logging::writeToStandardOutput("tamsell: another launch will not find this one: " +
                                   std::string(failure.what()));
    return {};
}

std::filesystem::path socketOf(const Locations& locations) {
    auto socket = launchSocketPath(processEnvironment, locations.dataDirectory);
    std::filesystem::create_directories(socket.parent_path());
    return socket;
}

} // namespace

Launch Launch::withInterface(const Locations& locations) {
    try {
        const auto socket = socketOf(locations);
        const auto claim = [&] {
            return FirstLaunch::claim(socket, FirstLaunch::Interface::present);
        };
        if (auto claimed = claim())
            return {.first = std::move(claimed), .answer = {}};
        const auto token = processEnvironment("XDG_ACTIVATION_TOKEN").value_or("");
        const LaunchAnswer answer = askFirstLaunch(socket, token, launchPatience);
        // One that says nothing may have just ended.
        if (answer.kind == LaunchAnswer::Kind::silent)
            if (auto claimed = claim())
                return {.first = std::move(claimed), .answer = {}};
        return {.first = nullptr, .answer = answer};
    } catch (const std::system_error& failure) {
        return withoutSocket(failure);
    }
}

Launch Launch::headless(const Locations& locations) {
    try {
        auto first = FirstLaunch::claim(socketOf(locations), FirstLaunch::Interface::absent);
        if (!first)
            logging::writeToStandardOutput("tamsell: another Tamsell uses the same settings");
        return {.first = std::move(first), .answer = {}};
    } catch (const std::system_error& failure) {
        return withoutSocket(failure);
    }
}
