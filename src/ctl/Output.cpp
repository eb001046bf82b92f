#include "ctl/Output.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <unistd.h>

#include "core/File.h"
#include "core/Text.h"

namespace ctl::output {

namespace {

// The names of the first column end here, in terminal cells.
constexpr std::size_t firstColumn = 14;

} // namespace

void write(std::string_view text) {
    if (!file::writeAll(STDOUT_FILENO, text))
        throw std::system_error(errno, std::generic_category(), "standard output");
}

void writeJSON(const JSONValue& value) {
    write(text::asciiWhereInvisible(json::pretty(value)) + "\n");
}

void writeRow(std::string_view name, std::string_view text) {
    const std::size_t width = text::columns(name);
    std::string line(name);
    line.append(firstColumn - std::min(width, firstColumn - 1), ' ');
    write(line.append(text).append("\n"));
}

JSONValue orNull(const std::optional<std::string>& text) {
    return text ? JSONValue(*text) : JSONValue();
}

} // namespace ctl::output
