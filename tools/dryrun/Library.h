// How the program calls the library. The page has its own Library.cpp.
#pragma once

#include <windows.h>
#include <msi.h>

#include <string>

#include "simulated/machine/Machine.h"

/// Loads the library on this machine and calls an export of it. The library's process-wide objects
/// are created by this load, after the machine was described. Returns the export's status; throws
/// BadInput if the library can't be loaded.
UINT callExport(const std::string& name, simulated::Machine& machine, MSIHANDLE session);
