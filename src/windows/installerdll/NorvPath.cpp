#include "windows/installerdll/NorvPath.h"

#include <shlobj.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/tstrings.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/FileUtils.h"
#include "windows/common/PackageVersion.h"
#include "windows/common/Registry.h"
#include "windows/common/SysInfo.h"

namespace {

using Version = NorvVersionDetails::Base;

constexpr const TCHAR* kEnvironmentKey =
    _T("SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment");
constexpr const TCHAR* kPathValue = _T("Path");
constexpr const TCHAR* kPathSeparator = _T(";");

constexpr const TCHAR* kPathDirectory = _T("Dovrin\\Norv\\norvpath");
constexpr const TCHAR* kStagingDirectory = _T("Dovrin\\Norv\\norvtmp");
constexpr const TCHAR* kTargetSuffix = _T("_target_");
constexpr DWORD kTargetNameTries = 10000;

constexpr UINT kBroadcastTimeout = 5000;  // milliseconds, for each window that hangs

struct Shim {
    const TCHAR* name;
    const TCHAR* source;
};

constexpr Shim kShims[] = {
    {_T("norv.exe"), _T("norv.exe")},
    {_T("norvw.exe"), _T("norvw.exe")},
    {_T("norvc.exe"), _T("norv.exe")},
    {_T("zemble.exe"), _T("norv.exe")},
};

/// Base directory and relative path of the one directory in `Path`.
using Location = std::pair<tstring, tstring>;

Location getNorvPathLocation() {
    return {SysInfo::SHGetFolderPathAdapter(CSIDL_PROGRAM_FILES_COMMON, 1), kPathDirectory};
}

tstring fullPath(const Location& location) {
    return FileUtils::combinePath(location.first, location.second);
}

/// Returns the directory into which the product's installer has put the new shims.
tstring getStagingDirectory() {
    return FileUtils::combinePath(getNorvPathLocation().first, kStagingDirectory);
}

/// Returns the target of the junction; empty if it doesn't exist. Throws if something else has its
/// name.
tstring currentTarget(const tstring& pathDirectory) {
    return FileUtils::exists(pathDirectory) ? FileUtils::getLinkTarget(pathDirectory) : tstring();
}

void deleteTree(const tstring& path) {
    FileUtils::Deleter deleter(false);
    deleter.appendTree(path);
    deleter.execute();
}

/// Notifies running programs, such as the shell, that the environment of new processes has changed.
void NotifySytemChanges() {
    DWORD_PTR result = 0;
    if (SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                            reinterpret_cast<LPARAM>(_T("Environment")), SMTO_ABORTIFHUNG,
                            kBroadcastTimeout, &result) == 0) {
        logFailedCall("`anonymous-namespace'::NotifySytemChanges", FailedCall(nullptr)
                                                                       << _T("SendMessageTimeout"));
    }
}

bool isInPath(const tstring& value) {
    std::vector<tstring> entries;
    tstrings::split(entries, tstrings::toLower(value), kPathSeparator);
    const tstring entry = tstrings::toLower(fullPath(getNorvPathLocation()));
    return std::ranges::find(entries, entry) != entries.end();
}

void addToPath() {
    const Registry environment(HKLM, kEnvironmentKey, Registry::Mode::Write);
    const tstring value = environment.getString(kPathValue);
    if (isInPath(value)) {
        return;
    }
    environment.setExpandString(kPathValue,
                                fullPath(getNorvPathLocation()) + kPathSeparator + value);
    NotifySytemChanges();
}

void removeFromPath() {
    const Registry environment(HKLM, kEnvironmentKey, Registry::Mode::Write);
    std::vector<tstring> entries;
    tstrings::split(entries, environment.getString(kPathValue), kPathSeparator);

    const tstring ours = fullPath(getNorvPathLocation());
    tstring value;
    for (const tstring& entry : entries) {
        if (tstrings::equals(entry, ours, tstrings::CompareType::IgnoreCase)) {
            continue;
        }
        if (!value.empty()) {
            value += kPathSeparator;
        }
        value += entry;
    }
    environment.setExpandString(kPathValue, value);
    NotifySytemChanges();
}

/// Returns an unused directory name next to the junction.
tstring findTargetDirectory(const tstring& pathDirectory) {
    const DWORD ticks = GetTickCount();
    tstring candidate;
    for (DWORD i = 0; i < kTargetNameTries; ++i) {
        candidate = pathDirectory + kTargetSuffix + tstrings::toString(ticks + i);
        if (!FileUtils::exists(candidate)) {
            break;
        }
    }
    return candidate;
}

/// Copies the files that can be copied: a directory with some of the shims is better than none.
void copyShims(const tstring& source, const tstring& target) {
    for (const Shim& shim : kShims) {
        runLogged("`anonymous-namespace'::InstallShims", [&] {
            FileUtils::copyFile(FileUtils::combinePath(source, shim.source),
                                FileUtils::combinePath(target, shim.name), true);
        });
    }
}

/// Creates a new target directory and makes the junction point to it. The shims come from the
/// staging directory or from the old target.
void InstallShims(bool fromStaging) {
    const tstring pathDirectory = fullPath(getNorvPathLocation());
    const tstring oldTarget = currentTarget(pathDirectory);
    const tstring source = fromStaging ? getStagingDirectory() : oldTarget;
    if (!FileUtils::exists(source)) {
        LOG_WARNING("`anonymous-namespace'::InstallShims",
                    _T("no where to copy shims from, exiting"));
        return;
    }

    const tstring target = findTargetDirectory(pathDirectory);
    LOG_INFO("`anonymous-namespace'::InstallShims", Text() << _T("norvpath targetDir: ") << target);
    FileUtils::createDirectories(target);
    FileUtils::setPermissions(target);
    copyShims(source, target);

    if (FileUtils::exists(pathDirectory)) {
        FileUtils::deleteJunction(pathDirectory);
    }
    FileUtils::createJunction(pathDirectory, target);
    addToPath();

    if (fromStaging && FileUtils::exists(oldTarget)) {
        deleteTree(oldTarget);
    }
    deleteTree(source);
}

void removeShims() {
    removeFromPath();
    const tstring pathDirectory = fullPath(getNorvPathLocation());
    const tstring target = currentTarget(pathDirectory);
    if (FileUtils::exists(pathDirectory)) {
        FileUtils::deleteJunction(pathDirectory);
    }
    if (FileUtils::exists(target)) {
        deleteTree(target);
    }
}

/// Whether the product's installer provides shims, and its tools may be found through them.
bool isShimAware(const Version& version) {
    using NorvVersionDetails::family;
    return (version >= Version(_T("11.0.8")) && family(version) < family(Version(_T("12")))) ||
           family(version) >= family(Version(_T("15")));
}

/// Returns the version of the last shim-aware product in the order of detection; empty if there is
/// none.
tstring findShimAwareVersion() {
    using namespace NorvEnvironment;
    tstring found;
    for (const InstalledNorv& product : detect(kDetectQvk | kDetect64Bit)) {
        if (isShimAware(product.version)) {
            LOG_TRACE("NorvPathManager::handle", _T("Shim: A QVK 11.0.8 and < 12, or 15+ exists"));
            found = NorvVersionDetails::toString(product.version);
        }
    }
    return found;
}

tstring textWithoutBuild(const Version& version) {
    return NorvVersionDetails::toString(NorvVersionDetails::withoutBuild(version));
}

}  // namespace

void NorvPathManager::handle(const UpdateContext& context, const InstallConfigData&,
                             const InstalledNorv*) {
    using namespace NorvEnvironment;
    constexpr const char* kFunction = "NorvPathManager::handle";

    const InstalledNorv* latest = latestOfType(context.selection, Bundle::kQvk);
    if (latest != nullptr) {
        LOG_TRACE(kFunction, Text() << _T("Norvpath: The latest QVK version installed is: ")
                                    << textWithoutBuild(latest->version));
    }
    const Version packageVersion(kPackageVersion);
    LOG_TRACE(kFunction, Text() << _T("Norvpath: This version of the QVK is: ")
                                << textWithoutBuild(packageVersion));

    const tstring shimAware = findShimAwareVersion();
    if (shimAware.empty()) {
        LOG_TRACE(kFunction, _T("Norvpath: No SHIM-AWARE QVKs remain, delete all shims."));
        removeShims();
        return;
    }
    LOG_TRACE(kFunction, _T("Norvpath: A SHIM-AWARE QVK exists."));

    // The action is irrelevant: a package that finds only older products is being removed.
    const Version shimAwareVersion(shimAware);
    if (packageVersion == shimAwareVersion) {
        LOG_TRACE(kFunction,
                  _T("Norvpath: Installing and we are the latest SHIM-AWAREQVK, setup shims."));
        InstallShims(true);
    } else if (packageVersion < shimAwareVersion) {
        LOG_TRACE(kFunction,
                  _T("Norvpath: Installing and we are NOT the latest, don't do anything."));
    } else {
        LOG_TRACE(kFunction, _T("Norvpath: Uninstalling and there is a SHIM-AWAREQVK remaining."));
        InstallShims(false);
    }
}
