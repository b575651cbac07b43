// Checks of the install directory and of the account that runs the installer. Each takes the
// session of an immediate action and throws on failure.
#pragma once

#include <windows.h>
#include <msi.h>

/// Implements `MSIValidateInstallDir`: returns 0 if "INSTALLDIR" is acceptable or the updater
/// installs, otherwise a status of InstallDirValidator.
UINT validateInstallDir(MSIHANDLE session);

/// Implements `MSIIsLocalSystemSupported`: returns 1627 if LocalSystem runs a package that is not
/// an enterprise one, otherwise 0.
UINT isLocalSystemSupported(MSIHANDLE session);

/// Implements `MSISetImpersonate`: sets "IMPERSONATE" to "1" if an administrator who is not
/// LocalSystem names a configuration file on a network drive. Returns 0.
UINT setImpersonate(MSIHANDLE session);

/// Implements `MSIRemoveFoldersOnReboot`: deletes the tree of "INSTALLDIR" now, and files in use at
/// the next restart. Returns 0.
UINT removeFoldersOnReboot(MSIHANDLE session);
