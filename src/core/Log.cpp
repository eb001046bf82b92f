#include "core/Log.h"

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
    const std::string whole = line(wallclock::milliseconds(), message);
    [[maybe_unused]] const ssize_t written = ::write(STDOUT_FILENO, whole.data(), whole.size());
}

} // namespace logging
