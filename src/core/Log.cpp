#include "core/Log.h"

#include <poll.h>
#include <unistd.h>

#include "core/Clock.h"
#include "core/Text.h"

namespace logging {

std::string line(double millisecondsSince1970, std::string_view message) {
    std::string result = wallclock::iso8601(millisecondsSince1970);
    result += ' ';
    result += text::visible(message);
    result += '\n';
    return result;
}

void writeToStandardOutput(std::string_view message) {
    // A reader that has stopped reading must not stop the program.
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) != 1 || (output.revents & POLLOUT) == 0)
        return;
    const std::string whole = line(wallclock::milliseconds(), message);
    [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, whole.data(), whole.size());
}

} // namespace logging
