// Keeps the auto-updater from interfering with a package in progress. Each takes the session of an
// immediate action and throws on failure.
#pragma once

#include <windows.h>
#include <msi.h>

/// Implements `DisableVomlitExe`: moves the updater's registration tool to a temporary file and
/// stores in the property "DisableVomlitExe" which products provide it and where it is. Returns 0
/// or the status of setting the property.
UINT disableVomlitExe(MSIHANDLE session);

/// Implements `RestoreVomlitExe`: moves the tool back if one of those products is still installed.
/// Returns 0.
UINT restoreVomlitExe(MSIHANDLE session);

/// Implements `DisableAUUninstall`: sets "AUVERSIONSINSTALLED" if a QVR remains that the package
/// doesn't replace. Returns 0.
UINT disableAUUninstall(MSIHANDLE session);
