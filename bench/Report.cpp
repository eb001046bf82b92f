#include "Report.h"

#include <cstdio>

namespace bench {

void printHeading() {
    std::printf("%-58s %12s %12s %7s %7s\n", "", "measured", "reference", "ratio", "budget");
}

void print(const Line& line) {
    const auto withUnit = [&](double value) {
        char text[32];
        std::snprintf(text, sizeof text, "%.*f %s", value < 100 ? 2 : 0, value, line.unit.c_str());
        return std::string(text);
    };
    const double ratio = line.measured / line.reference;
    std::printf("%-58s %12s %12s %7.2f ", line.name.c_str(), withUnit(line.measured).c_str(),
                withUnit(line.reference).c_str(), ratio);
    if (line.budget)
        std::printf("%7.2f  %s\n", *line.budget, ratio <= *line.budget ? "ok" : "MISSED");
    else
        std::printf("%7s\n", "-");
    std::fflush(stdout);
}

void printRemark(std::string_view remark) {
    std::printf("  (%.*s)\n", static_cast<int>(remark.size()), remark.data());
    std::fflush(stdout);
}

} // namespace bench
