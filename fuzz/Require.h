#pragma once

/// What must hold for every input. Unlike an assertion it is there in optimised builds.
inline void require(bool holds) {
    if (!holds)
        __builtin_trap();
}
