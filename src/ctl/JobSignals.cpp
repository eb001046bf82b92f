#include "ctl/JobSignals.h"

#include <algorithm>
#include <utility>

namespace ctl {

namespace {

// The signal that came, by its number. A signal handler may reach nothing more.
volatile std::sig_atomic_t caught = 0;

void handle(int signal) {
    struct sigaction action {};
    action.sa_handler = [](int number) { caught = number; };
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

} // namespace

JobSignals::JobSignals() {
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : handled)
        sigaddset(&blocked, signal);
    ::sigprocmask(SIG_BLOCK, &blocked, &m_before);
    for (std::size_t i = 0; i < handled.size(); ++i) {
        ::sigaction(handled[i], nullptr, &m_actions[i]);
        if (m_actions[i].sa_handler != SIG_IGN)
            handle(handled[i]);
    }
}

JobSignals::~JobSignals() {
    for (std::size_t i = 0; i < handled.size(); ++i)
        ::sigaction(handled[i], &m_actions[i], nullptr);
    ::sigprocmask(SIG_SETMASK, &m_before, nullptr);
}

int JobSignals::wait(std::span<pollfd> descriptors, std::optional<Clock::time_point> until) const {
    timespec left{};
    if (until) {
        const auto time =
            std::max<std::chrono::nanoseconds>(*until - Clock::now(), Clock::duration::zero());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
        left = {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
    }
    if (::ppoll(descriptors.data(), descriptors.size(), until ? &left : nullptr, &m_before) < 0) {
        for (pollfd& descriptor : descriptors)
            descriptor.revents = 0;
    }
    return std::exchange(caught, 0);
}

void JobSignals::stop() const {
    ::signal(SIGTSTP, SIG_DFL);
    ::raise(SIGTSTP);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, SIGTSTP);
    ::sigprocmask(SIG_UNBLOCK, &only, nullptr);
    // Here it stops.
    ::sigprocmask(SIG_BLOCK, &only, nullptr);
    handle(SIGTSTP);
}

} // namespace ctl
