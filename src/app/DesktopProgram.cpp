#include "app/DesktopProgram.h"

#include <array>
#include <cerrno>
#include <string>
#include <system_error>
#include <thread>

#include <unistd.h>

#include "core/Log.h"
#include "platform/DisplayServer.h"

using namespace std::chrono_literals;

namespace {

constexpr auto tryAgainAfter = 250ms;

DisplayServer awaitDisplayServer(std::chrono::milliseconds patience) {
    const auto end = std::chrono::steady_clock::now() + patience;
    DisplayServer display = probeDisplayServer(processEnvironment);
    while (display == DisplayServer::unreachable && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(tryAgainAfter);
        display = probeDisplayServer(processEnvironment);
    }
    return display;
}

} // namespace

void becomeDesktopProgram(const Bundle& bundle, char* const arguments[],
                          std::chrono::milliseconds patience) {
    const auto program = bundle.auxiliaryExecutable("tamsell-desktop");
    if (!program) {
        logging::writeToStandardOutput("tamsell: no interface is installed, running without one");
        return;
    }
    switch (awaitDisplayServer(patience)) {
    case DisplayServer::none:
        logging::writeToStandardOutput("tamsell: no display, running without an interface");
        return;
    case DisplayServer::unreachable:
        logging::writeToStandardOutput(
            "tamsell: the display cannot be reached, running without an interface");
        return;
    case DisplayServer::reachable:
        break;
    }
    ::execv(program->c_str(), arguments);
    const std::error_code error(errno, std::generic_category());
    logging::writeToStandardOutput("tamsell: cannot start " + program->string() + ": " +
                                   error.message() + "; running without an interface");
}

void becomeHeadless(const Bundle& bundle) {
    const auto program = bundle.program("tamsell").value_or("tamsell");
    std::string name = program.string();
    std::string headless = "--headless";
    const std::array<char*, 3> arguments{name.data(), headless.data(), nullptr};
    ::execv(program.c_str(), arguments.data());
    throw std::system_error(errno, std::generic_category(), program.string());
}
