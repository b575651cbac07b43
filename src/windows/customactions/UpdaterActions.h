// Keeps the auto-updater out of the way of a package in progress. Each takes the session of an
// immediate action and throws for whatever fails.
#pragma once

#include <windows.h>
#include <msi.h>

/// The work of `DisableVomlitExe`: moves the updater's registration tool into a temporary file and
/// keeps in the property "DisableVomlitExe" which products provide it and where it lies. 0, or the
/// status of setting the property.
UINT disableVomlitExe(MSIHANDLE session);

/// The work of `RestoreVomlitExe`: moves the tool back if one of those products is still installed.
/// Always 0.
UINT restoreVomlitExe(MSIHANDLE session);

/// The work of `DisableAUUninstall`: sets "AUVERSIONSINSTALLED" if a QVR stays that the package
/// doesn't replace. Always 0.
UINT disableAUUninstall(MSIHANDLE session);
