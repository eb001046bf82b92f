#pragma once

#include <algorithm>
#include <vector>

namespace bench {

/// The middle one; of an even number, the upper of the two. What other programs on the machine do
/// to a few measurements does not move it. `values` is not empty.
[[nodiscard]] inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

} // namespace bench
