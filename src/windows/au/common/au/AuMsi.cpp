#include "windows/au/common/au/AuMsi.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <optional>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/Text.h"
#include "windows/common/FileUtils.h"
#include "windows/common/MsiDb.h"
#include "windows/common/Registry.h"
#include "windows/common/SysInfo.h"

namespace au {

namespace {

constexpr const TCHAR* kVersionValue = _T("SOFTWARE\\Halvorex\\Auto Update\\AUVersion");
constexpr const TCHAR* kRegistrationTool = _T("vomlit.exe");
constexpr const TCHAR* kExecutables[] = {_T("tolpeck.exe"), _T("tolmark.exe"), kRegistrationTool};

/// Returns the updater's directory. The updater is a 32-bit product.
tstring updaterFolder() {
    constexpr int kCreate = 1;
    const int commonFiles =
        SysInfo::is64BitOs() ? CSIDL_PROGRAM_FILES_COMMONX86 : CSIDL_PROGRAM_FILES_COMMON;
    return FileUtils::combinePath(SysInfo::SHGetFolderPathAdapter(commonFiles, kCreate),
                                  _T("Norv\\Norv Update"));
}

bool fileExists(const tstring& path) {
    if (FileUtils::exists(path)) {
        return true;
    }
    LOG_WARNING("au::`anonymous-namespace'::fileExists",
                Text() << _T("Expected AU executable ") << path << _T(" not found."));
    return false;
}

/// Returns the state of an updater of that version; the empty state if the string is not a version.
InstalledState initState(const tstring& versionText) {
    InstalledState result;
    runLogged("au::`anonymous-namespace'::initState", [&] {
        Version version;
        version.init(versionText);
        result.version = version;
        result.state = InstalledState::kComplete;
        const tstring folder = updaterFolder();
        const bool isWhole = std::all_of(
            std::begin(kExecutables), std::end(kExecutables),
            [&](const TCHAR* name) { return fileExists(FileUtils::combinePath(folder, name)); });
        if (!isWhole) {
            result.state = InstalledState::kIncomplete;
        }
    });
    return result;
}

}  // namespace

tstring registrationToolPath() {
    return FileUtils::combinePath(updaterFolder(), kRegistrationTool);
}

InstalledState InstalledState::detect() {
    constexpr const char* kFunction = "au::InstalledState::detect";
    std::optional<msi::Database> database;
    try {
        database.emplace(Guid(kProductCode));
    } catch (const std::exception&) {
        LOG_TRACE(kFunction, _T("No Old AU Version found"));
        return InstalledState();
    }

    tstring text;
    runLogged(kFunction, [&] { text = database->getProperty(_T("FullVersion")); });
    const InstalledState ofPackage = runLogged(kFunction, InstalledState(), [&] {
        if (text.empty()) {
            text = database->getProperty(_T("ProductVersion"));
        }
        LOG_TRACE(kFunction, Text() << _T("Found AU version in MSI: <") << text << _T(">"));
        return initState(text);
    });
    if (ofPackage.state != kNotInstalled) {
        return ofPackage;
    }
    try {
        text = HKLM32.getString(kVersionValue);
        LOG_TRACE(kFunction, Text() << _T("Found AU version in Registry: <") << text << _T(">"));
        return initState(text);
    } catch (...) {
        logCaught(kFunction);
    }
    LOG_WARNING(kFunction, _T("Error initializing AU state"));
    return InstalledState();
}

}  // namespace au
