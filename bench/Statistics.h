#pragma once

#include <algorithm>
#include <utility>
#include <vector>

namespace bench {

/// The one that this part of the values lies below; `part` is from 0 up to, but not, 1. `values` is
/// not empty.
[[nodiscard]] inline double quantile(std::vector<double> values, double part) {
    const double index = static_cast<double>(values.size()) * part;
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(index);
    std::ranges::nth_element(values, place);
    return *place;
}

/// The middle one; of an even number, the upper of the two. What other programs on the machine do
/// to a few measurements does not move it. `values` is not empty.
[[nodiscard]] inline double median(std::vector<double> values) {
    return quantile(std::move(values), 0.5);
}

} // namespace bench
