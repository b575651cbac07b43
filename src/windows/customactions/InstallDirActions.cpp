#include "windows/customactions/InstallDirActions.h"

#include <msiquery.h>

#include <vector>

#include "common/share/Logger.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "windows/common/FileUtils.h"
#include "windows/common/InstallDirValidator.h"
#include "windows/common/MsiCA.h"
#include "windows/common/Security.h"

namespace {

constexpr const TCHAR* kLocalSystem = _T("S-1-5-18");

bool equalsIgnoringCase(const tstring& a, const tstring& b) {
    return tstrings::equals(a, b, tstrings::CompareType::IgnoreCase);
}

}  // namespace

UINT validateInstallDir(MSIHANDLE session) {
    if (equalsIgnoringCase(msi::getProperty(session, _T("INSTALL_TYPE")), _T("au"))) {
        LOG_INFO("MSIValidateInstallDir",
                 _T("Auto update installation. Do not validate INSTALLDIR"));
        return ERROR_SUCCESS;
    }
    const tstring installDir = msi::getProperty(session, _T("INSTALLDIR"));
    // Homes of installed products are no exception: new files must not be mixed with those of an
    // older product.
    return InstallDirValidator(std::vector<InstalledNorv>()).validate(installDir);
}

UINT isLocalSystemSupported(MSIHANDLE session) {
    constexpr const char* kFunction = "MSIIsLocalSystemSupported";
    if (security::Sid::processOwnerUser().toString() != kLocalSystem) {
        LOG_TRACE(kFunction, _T("Original MSI invoker is NOT the LocalSystem User"));
        return ERROR_SUCCESS;
    }
    if (equalsIgnoringCase(msi::getProperty(session, _T("ENTERPRISE")), _T("Yes"))) {
        LOG_TRACE(kFunction, _T("Enterprise MSI detected, LocalSystem supported"));
        return ERROR_SUCCESS;
    }
    LOG_ERROR(kFunction, _T("LocalSystem is only supported for Enterprise MSI"));
    return ERROR_FUNCTION_FAILED;
}

UINT setImpersonate(MSIHANDLE session) {
    constexpr const char* kFunction = "MSISetImpersonate";
    const tstring configFile = msi::getProperty(session, _T("INSTALLCFG"));
    LOG_TRACE(kFunction, Text() << _T("INSTALLCFG=") << configFile);
    switch (FileUtils::pathType(configFile)) {
        case FileUtils::PathType::Invalid:
            LOG_TRACE(kFunction, _T("INSTALLCFG is either not set by user, or not set properly"));
            return ERROR_SUCCESS;
        case FileUtils::PathType::Local:
        case FileUtils::PathType::Unknown:
            LOG_TRACE(kFunction, _T("INSTALLCFG is not set to a remote drive location"));
            return ERROR_SUCCESS;
        case FileUtils::PathType::Network:
            break;
    }
    LOG_TRACE(kFunction,
              _T("INSTALLCFG is on a mapped drive, and only reachable if originally ")
              _T("launched by Admin user"));
    if (!security::isUserAdmin() || !security::isProcessElevated()) {
        LOG_TRACE(kFunction, _T("Original MSI invoker not Admin or LocalSystem user"));
        return ERROR_SUCCESS;
    }
    const tstring owner = security::Sid::processOwnerUser().toString();
    if (owner == kLocalSystem) {
        LOG_TRACE(kFunction, _T("Original MSI invoker is the LocalSystem User"));
        return ERROR_SUCCESS;
    }
    LOG_TRACE(kFunction, Text() << _T("Original MSI invoker (") << owner
                                << _T(") is an Admin User, set IMPERSONATE=1"));
    MsiSetPropertyW(session, _T("IMPERSONATE"), _T("1"));
    return ERROR_SUCCESS;
}

UINT removeFoldersOnReboot(MSIHANDLE session) {
    const tstring installDir = msi::getProperty(session, _T("INSTALLDIR"));
    LOG_TRACE("MSIRemoveFoldersOnReboot",
              Text() << _T(" INSTALLDIR which is passed via command line is ") << installDir);
    FileUtils::Deleter deleter(true);
    deleter.appendTree(installDir);
    deleter.execute();
    return ERROR_SUCCESS;
}
