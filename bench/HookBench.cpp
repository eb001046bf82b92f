#include <chrono>
#include <stdexcept>

#include <sys/resource.h>

#include "Events.h"
#include "Process.h"
#include "Report.h"
#include "ScratchDaemon.h"
#include "Sections.h"
#include "Statistics.h"

namespace bench {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

// What runs of one program took.
struct Runs {
    Command command;
    std::vector<double> elapsed{};
    std::vector<double> processor{};
};

Milliseconds childrensTime() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto of = [](const timeval& time) {
        return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

void runOnce(Runs& runs) {
    const auto processorBefore = childrensTime();
    const auto before = std::chrono::steady_clock::now();
    if (Process(runs.command).wait() != 0)
        throw std::runtime_error(runs.command.arguments.front() + " failed");
    runs.elapsed.push_back(Milliseconds(std::chrono::steady_clock::now() - before).count());
    runs.processor.push_back((childrensTime() - processorBefore).count());
}

} // namespace

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
