#include "ctl/Terminal.h"

#include <cerrno>
#include <system_error>

#include <sys/ioctl.h>
#include <unistd.h>

namespace ctl {

Terminal::Terminal() {
    if (::tcgetattr(STDIN_FILENO, &m_found) != 0)
        throw std::system_error(errno, std::generic_category(), "standard input");
}

Terminal::~Terminal() {
    deliver(Delivery::asFound);
}

void Terminal::deliver(Delivery delivery) {
    if (delivery == m_delivery)
        return;
    m_delivery = delivery;
    termios settings = m_found;
    if (delivery == Delivery::keys) {
        settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        settings.c_cc[VMIN] = 1;
        settings.c_cc[VTIME] = 0;
    } else if (delivery == Delivery::lines) {
        settings.c_lflag |= ICANON | ECHO | ECHOE | ECHOK;
    }
    // A terminal that is gone needs no settings.
    while (::tcsetattr(STDIN_FILENO, TCSADRAIN, &settings) != 0 && errno == EINTR) {
    }
    // Keys that were meant for this program are not to reach the next one as commands.
    if (delivery == Delivery::asFound)
        discardInput();
}

void Terminal::discardInput() {
    ::tcflush(STDIN_FILENO, TCIFLUSH);
}

std::size_t Terminal::width() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return 80;
    return size.ws_col;
}

} // namespace ctl
