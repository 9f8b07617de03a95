#pragma once

#include <algorithm>
#include <vector>

namespace fetra {

/// The upper of the two in the middle where their number is even. `values` is not empty.
[[nodiscard]] inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

} // namespace fetra
