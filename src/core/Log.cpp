#include "core/Log.h"

#include <climits>

#include <poll.h>
#include <unistd.h>

#include "core/Clock.h"
#include "core/Text.h"

namespace logging {

namespace {

// What a pipe takes at once when it says that it can be written to.
constexpr std::size_t longestLine = PIPE_BUF;
constexpr std::string_view cutMark = " …";

} // namespace

std::string line(double millisecondsSince1970, std::string_view message) {
    std::string result = wallclock::iso8601(millisecondsSince1970);
    result += ' ';
    result += text::visible(message.substr(0, longestLine));
    if (result.size() >= longestLine) {
        std::size_t end = longestLine - cutMark.size() - 1;
        while ((static_cast<unsigned char>(result[end]) & 0xC0) == 0x80)
            --end;
        result.resize(end);
        result += cutMark;
    }
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
