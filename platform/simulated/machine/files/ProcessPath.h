// The paths that the process gives.
#pragma once

#include "simulated/machine/files/FilePath.h"

namespace simulated {

/// Takes a path apart as the simulated process means it: relative ones stand below its current
/// directory, and under WOW64 the system directory is the 32-bit one and "Sysnative" the real one.
FilePath processPath(const char16_t* path);

}  // namespace simulated
