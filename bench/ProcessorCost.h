#pragma once

#include <ctime>

#include "LoadGenerator.h"
#include "Process.h"

namespace bench {

/// The processor time that a load costs a server, in microseconds for each request.
[[nodiscard]] inline double costOf(const Process& server, const Load& load) {
    const auto before = server.processorTime();
    run(load);
    const std::chrono::duration<double, std::micro> cost = server.processorTime() - before;
    return cost.count() / load.count;
}

/// The processor time that the calling thread has had, in microseconds.
[[nodiscard]] inline double ownMicroseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

/// What one run of the work costs the calling thread, of that many, in microseconds.
template <typename Work>
[[nodiscard]] double ownCost(int times, Work work) {
    const double before = ownMicroseconds();
    for (int i = 0; i < times; ++i)
        work();
    return (ownMicroseconds() - before) / times;
}

} // namespace bench
