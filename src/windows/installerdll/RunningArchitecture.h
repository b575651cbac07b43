// The architecture of the code that runs, as products name theirs.
#pragma once

#include <cstdint>

/// 64 when the system is 64-bit and the process doesn't run under WOW64, else 32.
std::uint32_t runningBits();
