#include <csignal>
#include <cstdio>
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

int main(int argc, char* argv[]) {
    RelayDouble::Options options;
    if (argc == 2 && std::string_view(argv[1]) == "--tls") {
        options.transport = RelayDouble::Transport::tls;
    } else if (argc != 1) {
        std::fputs("usage: relay-double [--tls]\n", stderr);
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
