#include "app/Options.h"

#include <cstdio>
#include <string_view>

namespace {

constexpr const char* usage = "usage: tamsell [--headless] [--help] [--version]\n"
                              "  --headless  run the daemon alone, without an interface\n";

} // namespace

Options Options::ofProgram(std::span<char* const> arguments) {
    Options options;
    for (const char* argument : arguments) {
        const std::string_view text = argument;
        if (text == "--headless") {
            options.isHeadless = true;
        } else if (text == "--help" || text == "-h") {
            std::fputs(usage, stdout);
            options.exitCode = 0;
        } else if (text == "--version") {
            std::puts("tamsell " TAMSELL_VERSION);
            options.exitCode = 0;
        } else {
            std::fprintf(stderr, "tamsell: unknown argument %s\n%s", argument, usage);
            options.exitCode = 2;
        }
        if (options.exitCode)
            break;
    }
    return options;
}
