#include <stdexcept>

#include "Events.h"
#include "Process.h"
#include "Report.h"
#include "Runs.h"
#include "ScratchDaemon.h"
#include "Sections.h"
#include "Statistics.h"

namespace bench {

void measureHook() {
    constexpr int rounds = 400;
    constexpr int roundsOfSlowOnes = 15;
    const ScratchDaemon daemon("off");
    const ScratchDirectory directory;
    const auto event = directory.write("event.json", events::toolUse("hook-run"));
    const std::string port = std::to_string(daemon.port());
    const auto command = [&](std::vector<std::string> arguments) {
        return Command{.arguments = std::move(arguments),
                       .environment = {{"TAMSELL_HOME", daemon.home()}},
                       .input = event};
    };

    Runs empty{command({TAMSELL_BENCH_BIN "/empty-program"})};
    Runs hook{command({TAMSELL_BIN "/tamsell-hook"})};
    for (int i = 0; i < rounds; ++i) {
        runOnce(empty);
        runOnce(hook);
    }
    // A hook that does not reach the daemon ends early, and without a word.
    if (daemon.loggedEvents() != rounds)
        throw std::runtime_error("not every run of the hook reached the daemon");
    print({"hook, one run, vs an empty program", median(hook.elapsed), median(empty.elapsed), "ms",
           1.5});
    print({"  the same, processor time", median(hook.processor), median(empty.processor), "ms"});

    const auto scale = [&](const std::string& name, std::vector<std::string> arguments) {
        const auto program = findProgram(name);
        if (!program)
            return printRemark(name + " is not installed");
        arguments.insert(arguments.begin(), *program);
        Runs runs{command(std::move(arguments))};
        for (int i = 0; i < roundsOfSlowOnes; ++i)
            runOnce(runs);
        print({"  for scale, the same with " + name, median(runs.elapsed), median(empty.elapsed),
               "ms"});
    };
    scale("curl", {"--silent", "--data-binary", "@-", "http://127.0.0.1:" + port + "/hook"});
    scale("python3", {TAMSELL_BENCH_PEERS "/post.py", port});
    scale("node", {TAMSELL_BENCH_PEERS "/post.js", port});
}

} // namespace bench
