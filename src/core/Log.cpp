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

std::string visibleLines(std::string_view text) {
    std::string result;
    for (;;) {
        const std::size_t end = text.find('\n');
        result += text::visible(text.substr(0, end));
        if (end == text.npos)
            return result;
        result += '\n';
        text.remove_prefix(end + 1);
    }
}

} // namespace

std::string line(double millisecondsSince1970, const LogMessage& message) {
    std::string result = wallclock::iso8601(millisecondsSince1970);
    result += ' ';
    const std::string_view text = message.text.substr(0, longestLine);
    result += message.keepsLineFeeds ? visibleLines(text) : text::visible(text);
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

void writeToStandardOutput(const LogMessage& message) {
    // A reader that has stopped reading must not stop the program.
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) != 1 || (output.revents & POLLOUT) == 0)
        return;
    const std::string whole = line(wallclock::milliseconds(), message);
    [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, whole.data(), whole.size());
}

} // namespace logging
