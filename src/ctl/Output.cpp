#include "ctl/Output.h"

#include <cerrno>
#include <system_error>

#include <poll.h>
#include <unistd.h>

namespace ctl::output {

void write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd wait{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
            ::poll(&wait, 1, -1);
        } else if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "standard output");
        }
    }
}

void writeJSON(const JSONValue& value) {
    write(json::pretty(value) + "\n");
}

JSONValue orNull(const std::string& text) {
    return text.empty() ? JSONValue() : JSONValue(text);
}

} // namespace ctl::output
