#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <sys/resource.h>

#include "core/Log.h"
#include "relayd/Options.h"
#include "relayd/RelayServer.h"
#include "relayd/SQLiteStore.h"

namespace {

// Every connection is a descriptor; the soft limit is 1,024 almost everywhere.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// The file holds nothing that opens a message, but tokens pass through this memory.
void disableCoreDumps() {
    const rlimit none{};
    ::setrlimit(RLIMIT_CORE, &none);
}

std::optional<std::string> variable(const char* name) {
    const char* const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): one thread.
    return value ? std::optional<std::string>(value) : std::nullopt;
}

// Beside the program, where it is built and where it is installed.
std::optional<std::filesystem::path> ownPage() {
    std::error_code ignored;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
    auto folder = program.parent_path().parent_path() / "share/tamsell/phone";
    return std::filesystem::exists(folder / "index.html", ignored) ? std::optional(folder)
                                                                   : std::nullopt;
}

int run(std::span<char* const> arguments) {
    for (const std::string_view argument : arguments) {
        if (argument == "--help") {
            std::fputs(RelayOptions::usage(), stdout);
            return 0;
        }
        if (argument == "--version") {
            std::puts("tamsell-relay " TAMSELL_VERSION);
            return 0;
        }
    }
    RelayOptions options = RelayOptions::from(arguments, variable);
    if (!options.page)
        options.page = ownPage();
    SQLiteStore store(options.database);
    RelayServer server(options, store);
    logging::writeToStandardOutput("relay: listening on " + options.host + ":" +
                                   std::to_string(server.port()));
    server.run();
    return 0;
}

} // namespace

int main(int argc, char* argv[]) {
    disableCoreDumps();
    raiseDescriptorLimit();
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tamsell-relay: %s\n", failure.what());
        return 1;
    }
}
