#include "ctl/Output.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

#include "core/File.h"
#include "core/Text.h"

namespace ctl::output {

void write(std::string_view text) {
    if (!file::writeAll(STDOUT_FILENO, text))
        throw std::system_error(errno, std::generic_category(), "standard output");
}

void writeJSON(const JSONValue& value) {
    write(text::asciiWhereInvisible(json::pretty(value)) + "\n");
}

JSONValue orNull(const std::optional<std::string>& text) {
    return text ? JSONValue(*text) : JSONValue();
}

} // namespace ctl::output
