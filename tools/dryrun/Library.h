// How the program calls the library. The page has its own Library.cpp.
#pragma once

#include <windows.h>
#include <msi.h>

#include <string>

#include "simulated/machine/Machine.h"

/// Calls an export of the library, loaded anew on this machine: its process-wide objects are made
/// after the machine was described. Returns the export's status; throws BadInput if the library
/// can't be loaded.
UINT callExport(const std::string& name, simulated::Machine& machine, MSIHANDLE session);
