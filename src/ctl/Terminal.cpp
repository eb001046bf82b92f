#include "ctl/Terminal.h"

#include <array>
#include <cerrno>
#include <system_error>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace ctl {

namespace {

constexpr std::array ending{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// How the terminal was found: a signal handler reaches nothing but this. Set before any handler is.
termios found{};

// A terminal that is gone needs no settings.
void set(const termios& settings) {
    while (::tcsetattr(STDIN_FILENO, TCSANOW, &settings) != 0 && errno == EINTR) {
    }
}

// Only functions that a signal handler may call (signal-safety(7)).
void giveBackAndEnd(int signal) {
    ::tcsetattr(STDIN_FILENO, TCSANOW, &found);
    ::tcflush(STDIN_FILENO, TCIFLUSH);
    ::signal(signal, SIG_DFL);
    ::raise(signal); // Takes effect on return from here.
}

} // namespace

Terminal::Terminal() {
    if (::tcgetattr(STDIN_FILENO, &found) != 0)
        throw std::system_error(errno, std::generic_category(), "standard input");
    for (const int signal : ending) {
        struct sigaction action {};
        action.sa_handler = giveBackAndEnd;
        sigemptyset(&action.sa_mask);
        ::sigaction(signal, nullptr, &m_actions.emplace_back());
        // Who started this program with a signal ignored wants it to live on.
        if (m_actions.back().sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
    take();
}

Terminal::~Terminal() {
    giveBack();
    for (std::size_t i = 0; i < ending.size(); ++i)
        ::sigaction(ending[i], &m_actions[i], nullptr);
}

void Terminal::take() {
    termios settings = found;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    set(settings);
}

void Terminal::giveBack() {
    set(found);
    discardInput();
}

void Terminal::discardInput() {
    ::tcflush(STDIN_FILENO, TCIFLUSH);
}

Terminal::Size Terminal::size() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {};
    return {.columns = size.ws_col, .rows = size.ws_row};
}

} // namespace ctl
