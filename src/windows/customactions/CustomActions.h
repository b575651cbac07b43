// The actions that the library exports to the Windows Installer by name. Each takes the session
// handle and returns the action's status. docs/package-author.md describes what each reads, sets
// and returns.
#pragma once

#include <windows.h>
#include <msi.h>

extern "C" {

UINT __stdcall MSIValidateInstallDir(MSIHANDLE session) noexcept;
UINT __stdcall MSIIsLocalSystemSupported(MSIHANDLE session) noexcept;
UINT __stdcall MSISetImpersonate(MSIHANDLE session) noexcept;
UINT __stdcall MSIRemoveFoldersOnReboot(MSIHANDLE session) noexcept;
UINT __stdcall MSILoadMsiPropertiesFromConfig(MSIHANDLE session) noexcept;
UINT __stdcall SetLatestQvr(MSIHANDLE session) noexcept;
UINT __stdcall DisableVomlitExe(MSIHANDLE session) noexcept;
UINT __stdcall RestoreVomlitExe(MSIHANDLE session) noexcept;
UINT __stdcall DisableAUUninstall(MSIHANDLE session) noexcept;
UINT __stdcall checkIfReservedLocationOccupied(MSIHANDLE session) noexcept;
UINT __stdcall checkIfInstallDirReserved(MSIHANDLE session) noexcept;

}  // extern "C"
