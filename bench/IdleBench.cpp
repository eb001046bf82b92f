#include <chrono>
#include <thread>

#include "Memory.h"
#include "Report.h"
#include "ScratchDaemon.h"
#include "Sections.h"

namespace bench {

void measureIdle() {
    constexpr double megabyte = 1024 * 1024;
    constexpr double limit = 16;
    constexpr std::chrono::seconds watched{20};
    constexpr std::chrono::seconds tick{2};
    // In mode auto each tick asks for the idle time.
    const ScratchDaemon daemon("auto");
    std::this_thread::sleep_for(2 * tick);
    const auto before = voluntarySwitches(daemon.process().id());
    std::this_thread::sleep_for(watched);
    const auto wakeUps = voluntarySwitches(daemon.process().id()) - before;
    print({"idle daemon, wake-ups in 20 s, vs one a tick", static_cast<double>(wakeUps),
           static_cast<double>(watched / tick), "", 1.0});
    print({"idle daemon, memory (PSS), vs its limit",
           proportionalBytes(daemon.process().id()) / megabyte, limit, "MB", 1.0});
    print({"  if it shared no library with anybody (RSS)",
           residentBytes(daemon.process().id()) / megabyte, limit, "MB"});
}

} // namespace bench
