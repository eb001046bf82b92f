#include "ctl/Terminal.h"

#include <cerrno>
#include <system_error>

#include <sys/ioctl.h>
#include <unistd.h>

namespace ctl {

namespace {

// A terminal that is gone needs no settings.
void set(const termios& settings) {
    while (::tcsetattr(STDIN_FILENO, TCSADRAIN, &settings) != 0 && errno == EINTR) {
    }
}

} // namespace

Terminal::Terminal() {
    if (::tcgetattr(STDIN_FILENO, &m_found) != 0)
        throw std::system_error(errno, std::generic_category(), "standard input");
    take();
}

Terminal::~Terminal() {
    giveBack();
}

void Terminal::take() {
    termios settings = m_found;
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    set(settings);
}

void Terminal::giveBack() {
    set(m_found);
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
