// The reserved location below the program directory: no product may be installed into it, and its
// entry for this feature release may only be a reparse point.
#pragma once

#include "windows/common/MsiCA.h"

/// Sets "DIRECTORYOCCUPIED" to "1" if this release's entry is a real file or directory, otherwise
/// to "0". Throws if it is and the install is silent.
void checkReservedLocationOccupied(msi::CA& ca);

/// Sets "RESERVEDDIRECTORY" to "1" if "INSTALLDIR" is inside the reserved directory, otherwise to
/// "0". Throws if it is and the install is silent.
void checkInstallDirReserved(msi::CA& ca);
