#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace bench {

/// One line of the table.
struct Line {
    std::string name;
    double measured = 0;
    double reference = 0;
    std::string unit;
    /// The largest allowed measured / reference; nothing where the line is there for scale.
    std::optional<double> budget{};
};

void printHeading();
/// Prints the line at once, so that whoever watches sees the run go on.
void print(const Line& line);
/// A peer that is not installed, or what else a reader of the table has to know.
void printRemark(std::string_view remark);

} // namespace bench
