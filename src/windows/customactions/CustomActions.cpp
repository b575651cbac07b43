#include "windows/customactions/CustomActions.h"

#include "windows/customactions/ActionFrame.h"
#include "windows/customactions/ConfigAction.h"
#include "windows/customactions/InstallDirActions.h"
#include "windows/customactions/ProductUpdateAction.h"
#include "windows/customactions/ReservedLocation.h"
#include "windows/customactions/UpdaterActions.h"

UINT __stdcall MSIValidateInstallDir(MSIHANDLE session) noexcept {
    return runInPlainFrame("MSIValidateInstallDir", ERROR_FUNCTION_FAILED,
                           [=] { return validateInstallDir(session); });
}

UINT __stdcall MSIIsLocalSystemSupported(MSIHANDLE session) noexcept {
    return runInPlainFrame("MSIIsLocalSystemSupported", ERROR_FUNCTION_FAILED,
                           [=] { return isLocalSystemSupported(session); });
}

UINT __stdcall MSISetImpersonate(MSIHANDLE session) noexcept {
    // Impersonation is optional: a failure doesn't end the install.
    return runInPlainFrame("MSISetImpersonate", ERROR_SUCCESS,
                           [=] { return setImpersonate(session); });
}

UINT __stdcall MSIRemoveFoldersOnReboot(MSIHANDLE session) noexcept {
    return runInPlainFrame("MSIRemoveFoldersOnReboot", ERROR_FUNCTION_FAILED,
                           [=] { return removeFoldersOnReboot(session); });
}

UINT __stdcall MSILoadMsiPropertiesFromConfig(MSIHANDLE session) noexcept {
    return runInPlainFrame("MSILoadMsiPropertiesFromConfig", ERROR_FUNCTION_FAILED,
                           [=] { return loadMsiPropertiesFromConfig(session); });
}

UINT __stdcall SetLatestQvr(MSIHANDLE session) noexcept {
    return runInPlainFrame("SetLatestQvr", ERROR_FUNCTION_FAILED,
                           [=] { return updateProduct(session); });
}

UINT __stdcall DisableVomlitExe(MSIHANDLE session) noexcept {
    return runInPlainFrame("DisableVomlitExe", ERROR_FUNCTION_FAILED,
                           [=] { return disableVomlitExe(session); });
}

UINT __stdcall RestoreVomlitExe(MSIHANDLE session) noexcept {
    return runInPlainFrame("RestoreVomlitExe", ERROR_FUNCTION_FAILED,
                           [=] { return restoreVomlitExe(session); });
}

UINT __stdcall DisableAUUninstall(MSIHANDLE session) noexcept {
    return runInPlainFrame("DisableAUUninstall", ERROR_FUNCTION_FAILED,
                           [=] { return disableAUUninstall(session); });
}

UINT __stdcall checkIfReservedLocationOccupied(MSIHANDLE session) noexcept {
    return runInFullFrame("checkIfReservedLocationOccupied", session,
                          checkReservedLocationOccupied);
}

UINT __stdcall checkIfInstallDirReserved(MSIHANDLE session) noexcept {
    return runInFullFrame("checkIfInstallDirReserved", session, checkInstallDirReserved);
}
