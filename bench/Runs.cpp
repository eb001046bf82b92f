#include "Runs.h"

#include <chrono>
#include <stdexcept>

#include <sys/resource.h>

namespace bench {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

Milliseconds childrensTime() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto of = [](const timeval& time) {
        return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

} // namespace

void runOnce(Runs& runs) {
    const auto processorBefore = childrensTime();
    const auto before = std::chrono::steady_clock::now();
    if (Process(runs.command).wait() != 0)
        throw std::runtime_error(runs.command.arguments.front() + " failed");
    runs.elapsed.push_back(Milliseconds(std::chrono::steady_clock::now() - before).count());
    runs.processor.push_back((childrensTime() - processorBefore).count());
}

} // namespace bench
