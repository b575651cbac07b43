#include "windows/customactions/ConfigAction.h"

#include "common/share/Logger.h"
#include "windows/common/InstallConfigData.h"
#include "windows/common/MsiCA.h"
#include "windows/common/Paths.h"
#include "windows/customactions/SetMsiProperty.h"

UINT loadMsiPropertiesFromConfig(MSIHANDLE session) {
    constexpr const char* kFunction = "MSILoadMsiPropertiesFromConfig";
    const tstring commandLine = msi::getProperty(session, _T("MSICMDLINE"));
    LOG_TRACE(kFunction, Text() << _T(" MSICMDLINE is ") << commandLine);

    InstallConfigData config;
    try {
        config.LoadConfigSettings(commandLine);
    } catch (const InstallConfigData::exception& e) {
        config.handleError(e, kFunction);
        return kBadConfigurationStatus;
    }
    setMsiProperty(session, _T("REMOVEOLDERQVRS"),
                   config.isParamEnabled(FlagParam::RemoveOlderQvrs) ? _T("1") : _T("0"));

    const tstring given = msi::getProperty(session, _T("INSTALLDIR"));
    LOG_TRACE(kFunction, Text() << _T(" INSTALLDIR which is passed via command line is ") << given);
    if (!given.empty()) {
        return ERROR_SUCCESS;
    }
    const tstring configured =
        FileUtils::removeTrailingSlash(config.getInstallDirectory(tstring()));
    return setMsiProperty(session, _T("INSTALLDIR"), configured);
}
