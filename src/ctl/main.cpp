// The same powers at a terminal, for machines without a desktop and for scripts.

#include <csignal>
#include <cstdio>
#include <exception>

#include "core/Text.h"
#include "ctl/CommandLine.h"
#include "ctl/Output.h"
#include "platform/CoreDumps.h"

namespace {

void say(const std::string& text) {
    std::fprintf(stderr, "tamsellctl: %s\n", text.c_str());
}

int run(int argc, char* argv[]) {
    const ctl::Call call = ctl::parse({argv + 1, argv + argc});
    if (call.helpOnly) {
        ctl::output::write(call.command ? usage(*call.command) : ctl::usage());
        return 0;
    }
    const Locations locations = Locations::from(processEnvironment, homeDirectory());
    const Bundle bundle = Bundle::ofThisProcess();
    const ctl::Context context{.environment = processEnvironment,
                               .locations = locations,
                               .bundle = bundle,
                               .hooks =
                                   Hooks(locations, bundle.auxiliaryExecutable("tamsell-hook"))};
    return call.command->run(context, call.arguments);
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc == 2 && argv[1] == std::string_view("--version")) {
        std::puts("tamsellctl " TAMSELL_VERSION);
        return 0;
    }
    // A reader that went away is an error of writing, and the agents' files are whole then.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    disableCoreDumps();
    try {
        return run(argc, argv);
    } catch (const ctl::UsageError& error) {
        say(error.what());
        return 2;
    } catch (const std::exception& error) {
        // The daemon's words and the names of files are texts from outside.
        say(text::visible(error.what()));
        return 1;
    }
}
