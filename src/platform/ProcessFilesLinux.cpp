#include "platform/ProcessFiles.h"

#include <algorithm>
#include <charconv>

namespace processfiles {

namespace {

// The fields of "stat" by their numbers in proc(5).
constexpr int parentField = 4;
constexpr int startedField = 22;

} // namespace

Arguments arguments(std::string_view cmdline) {
    Arguments arguments;
    // Each one ends with a NUL; a title leaves more of them at the end.
    cmdline = cmdline.substr(0, cmdline.find_last_not_of('\0') + 1);
    while (!cmdline.empty()) {
        const std::size_t end = cmdline.find('\0');
        arguments.push_back(cmdline.substr(0, end));
        cmdline = end == std::string_view::npos ? std::string_view() : cmdline.substr(end + 1);
    }
    return arguments;
}

std::string_view programName(std::string_view argument) {
    argument = argument.substr(argument.rfind('/') + 1);
    return argument.substr(argument.starts_with('-') ? 1 : 0);
}

std::optional<Stat> stat(std::string_view text) {
    // The second field, the name in parentheses, may itself hold any character.
    const std::size_t name = text.rfind(") ");
    if (name == std::string_view::npos)
        return std::nullopt;
    text.remove_prefix(name + 2);
    Stat stat;
    for (int field = 3; field <= startedField; ++field) {
        const std::string_view word = text.substr(0, text.find(' '));
        const char* const end = word.data() + word.size();
        std::from_chars_result result{end, std::errc()};
        if (field == parentField)
            result = std::from_chars(word.data(), end, stat.parent);
        else if (field == startedField)
            result = std::from_chars(word.data(), end, stat.started);
        if (word.empty() || result.ec != std::errc())
            return std::nullopt;
        text.remove_prefix(std::min(word.size() + 1, text.size()));
    }
    return stat;
}

} // namespace processfiles
