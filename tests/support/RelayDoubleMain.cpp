#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string_view>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "core/Descriptor.h"
#include "support/RelayDouble.h"

// A relay for demonstrations and for tests in other languages. It prints its URL, over TLS followed
// by a space and the file of the authority to trust, and runs until its standard input closes or a
// signal ends it.

namespace {

bool parse(int argc, char* argv[], RelayDouble::Options& options) {
    for (int index = 1; index < argc; ++index) {
        const std::string_view argument = argv[index];
        if (argument == "--tls") {
            options.transport = RelayDouble::Transport::tls;
        } else if (argument == "--port" && index + 1 < argc) {
            const char* const number = argv[++index];
            const char* const end = number + std::strlen(number);
            if (const auto [rest, error] = std::from_chars(number, end, options.port);
                rest != end || error != std::errc())
                return false;
        } else {
            return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char* argv[]) {
    RelayDouble::Options options;
    if (!parse(argc, argv, options)) {
        std::fputs("usage: relay-double [--tls] [--port N]\n", stderr);
        return 2;
    }
    // Before there is another thread that could be interrupted.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    const Descriptor ending(signalfd(-1, &signals, SFD_CLOEXEC));
    try {
        const RelayDouble relay(options);
        const std::string authority = relay.authority().string();
        std::printf("%s%s%s\n", relay.url().c_str(), authority.empty() ? "" : " ",
                    authority.c_str());
        std::fflush(stdout);
        for (;;) {
            pollfd waits[] = {{STDIN_FILENO, POLLIN, 0}, {ending.number(), POLLIN, 0}};
            char ignored[256];
            if (poll(waits, 2, -1) > 0 &&
                (waits[1].revents != 0 ||
                 (waits[0].revents != 0 && read(STDIN_FILENO, ignored, sizeof ignored) <= 0)))
                return 0;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "relay-double: %s\n", error.what());
        return 1;
    }
}
