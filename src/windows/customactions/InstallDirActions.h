// Guards of what the user chose and of who runs the installer. Each takes the session of an
// immediate action and throws for whatever fails.
#pragma once

#include <windows.h>
#include <msi.h>

/// The work of `MSIValidateInstallDir`: 0 if "INSTALLDIR" is acceptable or the updater installs,
/// else a status of InstallDirValidator.
UINT validateInstallDir(MSIHANDLE session);

/// The work of `MSIIsLocalSystemSupported`: 1627 if LocalSystem runs a package that isn't an
/// enterprise one, else 0.
UINT isLocalSystemSupported(MSIHANDLE session);

/// The work of `MSISetImpersonate`: sets "IMPERSONATE" to "1" if an administrator, not LocalSystem,
/// names a configuration file on a network drive. Always 0.
UINT setImpersonate(MSIHANDLE session);

/// The work of `MSIRemoveFoldersOnReboot`: deletes the tree of "INSTALLDIR" now, and at the next
/// restart what is in use. Always 0.
UINT removeFoldersOnReboot(MSIHANDLE session);
