// The configuration action: checks the install configuration early and copies two of its settings
// to properties of the package.
#pragma once

#include <windows.h>
#include <msi.h>

/// The status of a bad configuration; not a Windows error code.
constexpr UINT kBadConfigurationStatus = 61015;

/// Implements `MSILoadMsiPropertiesFromConfig`. Reads the session's "MSICMDLINE" and "INSTALLDIR",
/// sets "REMOVEOLDERQVRS" and, if it is empty, "INSTALLDIR". Shows a bad configuration to the user
/// unless the run is silent. Throws on any other failure.
UINT loadMsiPropertiesFromConfig(MSIHANDLE session);
