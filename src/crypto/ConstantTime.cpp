#include "crypto/ConstantTime.h"

#include <cstddef>

bool constantTimeEqual(std::string_view left, std::string_view right) {
    if (left.size() != right.size() || left.empty())
        return false;
    // Volatile, so that no compiler finds an early exit.
    volatile unsigned char difference = 0;
    for (std::size_t i = 0; i < left.size(); ++i)
        difference =
            static_cast<unsigned char>(difference | (static_cast<unsigned char>(left[i]) ^
                                                     static_cast<unsigned char>(right[i])));
    return difference == 0;
}
