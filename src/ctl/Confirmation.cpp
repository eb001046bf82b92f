#include "ctl/Confirmation.h"

#include <cerrno>
#include <string_view>

#include <unistd.h>

#include "core/DaemonError.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Output.h"

namespace ctl {

namespace {

// The rest of a longer line stays unread, and is not agreement.
constexpr std::size_t longestAnswer = 256;

std::string readLine() {
    std::string line;
    while (line.size() < longestAnswer) {
        char c = 0;
        const ssize_t count = ::read(STDIN_FILENO, &c, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0 || c == '\n')
            break;
        line += c;
    }
    return line;
}

} // namespace

void confirm(const std::string& question) {
    if (::isatty(STDIN_FILENO) != 1 || ::isatty(STDOUT_FILENO) != 1)
        throw DaemonError(question + localized("沒有終端機可以問你；確定的話加上 --yes"));
    output::write(question + localized("要繼續嗎？[y/N] "));
    const std::string line = readLine();
    const std::string_view answer = text::trimmed(line);
    if (answer != "y" && answer != "Y" && answer != "yes")
        throw DaemonError(localized("什麼都沒有改"));
}

} // namespace ctl
