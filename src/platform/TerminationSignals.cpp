#include "platform/TerminationSignals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <QSocketNotifier>
#include <fcntl.h>
#include <unistd.h>

#include "core/Descriptor.h"

namespace {

constexpr std::array handled{SIGTERM, SIGINT};

// The only thing that a signal handler may reach.
std::atomic<int> writeEnd = -1;

void handle(int signal) {
    const int before = errno;
    const auto byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t written = ::write(writeEnd, &byte, 1);
    errno = before;
}

} // namespace

class TerminationSignals::Implementation {
  public:
    Implementation(int readEnd, int otherEnd)
        : input(readEnd), output(otherEnd), notifier(readEnd, QSocketNotifier::Read) {}

    Descriptor input;
    Descriptor output;
    QSocketNotifier notifier;
};

TerminationSignals::TerminationSignals() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "no pipe for signals");
    m_implementation = std::make_unique<Implementation>(ends[0], ends[1]);
    connect(&m_implementation->notifier, &QSocketNotifier::activated, this, [this] {
        unsigned char signal = 0;
        if (::read(m_implementation->input.number(), &signal, 1) == 1)
            Q_EMIT received(signal);
    });
    writeEnd = ends[1];
    struct sigaction action {};
    action.sa_handler = handle;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : handled)
        ::sigaction(signal, &action, nullptr);
    ::signal(SIGPIPE, SIG_IGN);
    ::signal(SIGXFSZ, SIG_IGN); // A write beyond a limit fails, and that is enough.
}

TerminationSignals::~TerminationSignals() {
    for (const int signal : handled)
        ::signal(signal, SIG_DFL);
    writeEnd = -1;
}
