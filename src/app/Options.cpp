#include "app/Options.h"

#include <string_view>

std::optional<Options> Options::parse(std::span<char* const> arguments, std::string& error) {
    Options options;
    for (const char* argument : arguments) {
        const std::string_view text = argument;
        if (text == "--headless") {
            options.isHeadless = true;
        } else if (text == "--help" || text == "-h") {
            options.action = Action::help;
        } else if (text == "--version") {
            options.action = Action::version;
        } else {
            error = "unknown argument " + std::string(text);
            return std::nullopt;
        }
    }
    return options;
}
