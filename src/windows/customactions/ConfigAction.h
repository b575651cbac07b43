// The configuration action: checks the install configuration early and hands two of its settings to
// the package.
#pragma once

#include <windows.h>
#include <msi.h>

/// The status of a bad configuration. It is no Windows error code.
constexpr UINT kBadConfigurationStatus = 61015;

/// The work of `MSILoadMsiPropertiesFromConfig`. It reads the session's "MSICMDLINE" and
/// "INSTALLDIR", sets "REMOVEOLDERQVRS" and, when it is empty, "INSTALLDIR". A bad configuration is
/// shown to the user unless the run is silent. Throws on any other failure.
UINT loadMsiPropertiesFromConfig(MSIHANDLE session);
