// What an agent runs on each of its events: hands the event on its standard input to the daemon
// and the daemon's reply to the agent. Whatever goes wrong it says nothing and ends with 0, so that
// the agent goes on as if there were no hook; other exit codes have a meaning to the agents.

#include <array>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "core/File.h"
#include "hook/AgentCommand.h"
#include "hook/Event.h"
#include "hook/Exchange.h"
#include "hook/Message.h"
#include "hook/Settings.h"
#include "platform/Endpoint.h"

namespace {

// Without this a socket could get the number of a standard descriptor that the agent closed, and
// the reply would be written into it.
void occupyStandardDescriptors() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (::fcntl(number, F_GETFD) < 0)
            (void)::open("/dev/null", O_RDWR); // Takes the lowest free number.
    }
}

// The name after the last "--client". Other arguments mean nothing.
std::string_view clientIn(int count, char** arguments) {
    std::string_view client;
    for (int i = 1; i + 1 < count; ++i) {
        if (arguments[i] == std::string_view("--client"))
            client = arguments[++i];
    }
    return client;
}

void run(int argumentCount, char** arguments) {
    std::string event;
    if (file::readAll(STDIN_FILENO, hook::maximumEvent, event) != file::ReadEnd::whole)
        return;
    const auto surroundings = hook::Surroundings::ofThisProcess();
    const auto settings = hook::readSettings(hook::configPath(surroundings), surroundings.user);
    const std::array ownPaths{std::string(argumentCount > 0 ? arguments[0] : ""),
                              surroundings.executable};
    const std::string commandLine = hook::agentCommandLine("/proc", ::getppid(), ownPaths);
    const std::string_view client = clientIn(argumentCount, arguments);
    const auto reply = hook::exchange({
        .candidates = loopbackCandidates(settings.config.host, settings.config.port),
        .owner = settings.owner,
        .head =
            [&](const Endpoint& to) {
                return hook::requestHead(to, event.size(), commandLine, client);
            },
        .body = event,
        .hold = hook::holdOf(event),
        .output = STDOUT_FILENO,
    });
    if (reply)
        (void)file::writeAll(STDOUT_FILENO, *reply); // There is nobody to tell.
}

} // namespace

int main(int argc, char** argv) {
    occupyStandardDescriptors();
    // An agent that stopped listening, or a limit on its files, is no reason for an exit code.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        run(argc, argv);
    } catch (...) { // NOLINT(bugprone-empty-catch): out of memory, and there is nobody to tell
    }
    return 0;
}
