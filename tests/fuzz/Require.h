// What a fuzz target holds to be true: the run ends where it isn't.
#pragma once

#include <cstdlib>

inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}
