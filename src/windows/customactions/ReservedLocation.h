// The reserved place below the program directory: no product may be installed into it, and the entry
// of this feature release in it may only be a reparse point.
#pragma once

#include "windows/common/MsiCA.h"

/// Sets "DIRECTORYOCCUPIED" to "1" if a real file or directory stands at this release's entry, else
/// to "0". Throws if it does and the install is silent.
void checkReservedLocationOccupied(msi::CA& ca);

/// Sets "RESERVEDDIRECTORY" to "1" if "INSTALLDIR" lies in the reserved folder, else to "0". Throws
/// if it does and the install is silent.
void checkInstallDirReserved(msi::CA& ca);
