#include "windows/customactions/ReservedLocation.h"

#include <windows.h>

#include <stdexcept>

#include "common/share/NorvVersion.h"
#include "common/share/PmtError.h"
#include "windows/common/FileUtils.h"
#include "windows/common/PackageVersion.h"
#include "windows/common/SysInfo.h"

namespace {

/// The length of "C:\PROGRA~1": paths with the short name of the program directory are compared
/// too.
constexpr std::size_t kShortProgramFilesLength = 11;

tstring inProgramFiles(const tstring& programFiles) {
    return FileUtils::combinePath(FileUtils::combinePath(programFiles, _T("Norv")), _T("latest"));
}

tstring reservedFolder() {
    return inProgramFiles(SysInfo::getProgramFilesDir());
}

tstring reservedLocation() {
    NorvVersionDetails::Base version;
    version.init(kPackageVersion);
    return FileUtils::combinePath(
        reservedFolder(),
        _T("qvk-") + NorvVersionDetails::toString(NorvVersionDetails::family(version)));
}

void throwIfSilent(const msi::CA& ca, const char* message) {
    if (ca.getProperty(_T("ISSILENT")) == _T("1")) {
        raise<std::runtime_error>("`anonymous-namespace'::throwIfSilent", message);
    }
}

bool isReserved(const tstring& directory, const tstring& reserved) {
    const tstring head = directory.substr(0, reserved.size());
    const tstring shortHead = directory.size() < kShortProgramFilesLength
                                  ? tstring()
                                  : directory.substr(0, kShortProgramFilesLength);
    return FileUtils::isSamePath(head, reserved) ||
           FileUtils::isSamePath(inProgramFiles(shortHead), reserved);
}

}  // namespace

void checkReservedLocationOccupied(msi::CA& ca) {
    const tstring location = reservedLocation();
    if (FileUtils::exists(location) && !FileUtils::isLink(location)) {
        ca.setProperty(_T("DIRECTORYOCCUPIED"), _T("1"));
        throwIfSilent(ca,
                      "We have detected that a location already exists. Please clean up that "
                      "directory and rerun the installer.");
        return;
    }
    ca.setProperty(_T("DIRECTORYOCCUPIED"), _T("0"));
}

void checkInstallDirReserved(msi::CA& ca) {
    const tstring reserved = reservedFolder();
    if (!isReserved(ca.getProperty(_T("INSTALLDIR")), reserved)) {
        ca.setProperty(_T("RESERVEDDIRECTORY"), _T("0"));
        return;
    }
    ca.setProperty(_T("RESERVEDDIRECTORY"), _T("1"));
    throwIfSilent(ca,
                  "The directory chosen for installation is reserved. Please choose another "
                  "location.");
}
