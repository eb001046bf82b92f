#pragma once

#include <cstdlib>

/// Deletes what a C library has allocated with malloc and handed over, for `std::unique_ptr`.
struct Free {
    void operator()(void* allocated) const { std::free(allocated); }
};
