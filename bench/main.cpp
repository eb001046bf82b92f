// Measures what the programs of this build cost, as ratios to something measured in the same run.
// A missed budget is printed and is no failure: a machine with other work must not break a build.

#include <array>
#include <cstdio>
#include <exception>
#include <string_view>

#include "Report.h"
#include "Sections.h"
#include "platform/DescriptorLimit.h"

namespace {

struct Section {
    std::string_view name;
    void (*measure)();
};

constexpr std::array sections{
    Section{"hook", bench::measureHook},         Section{"daemon", bench::measureDaemon},
    Section{"idle", bench::measureIdle},         Section{"held", bench::measureHeld},
    Section{"json", bench::measureJSON},         Section{"publish", bench::measurePublish},
    Section{"relay", bench::measureSealing},     Section{"relay", bench::measureStatePush},
    Section{"relay", bench::measureConnected},   Section{"desktop", bench::measureDesktop},
    Section{"relayd", bench::measureRelayServer}};

bool isWanted(const Section& section, int argc, char* argv[]) {
    for (int i = 1; i < argc; ++i) {
        if (section.name == argv[i])
            return true;
    }
    return argc < 2;
}

} // namespace

int main(int argc, char* argv[]) {
    const DescriptorLimit descriptorLimit;
    bool failed = false;
    bench::printHeading();
    for (const Section& section : sections) {
        if (!isWanted(section, argc, argv))
            continue;
        try {
            section.measure();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "bench: %s: %s\n", section.name.data(), error.what());
            failed = true;
        }
    }
    return failed ? 1 : 0;
}
