#include <windows.h>
#include <shlobj.h>

#include <array>
#include <utility>

#include "common/share/ProcessPaths.h"
#include "common/share/tstrings.h"
#include "common/windows/WinErrorHandling.h"
#include "describe/Description.h"
#include "windows/common/Security.h"
#include "windows/common/SysInfo.h"

/// Windows' version, whatever the program says that it was made for.
extern "C" LONG WINAPI RtlGetVersion(OSVERSIONINFOEXW* version);

namespace {

constexpr const TCHAR* kLocalSystem = _T("S-1-5-18");
constexpr const TCHAR* kDebugBreakVariable = _T("PMT_CA_DEBUG_BREAK");

std::string windowsVersion() {
    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    RtlGetVersion(&version);
    return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
           "." + std::to_string(version.dwBuildNumber);
}

/// The ids of the user's language list, as the library reads them.
Json languages() {
    Json result = Json::array();
    ULONG count = 0;
    ULONG size = 0;
    const DWORD flags = MUI_LANGUAGE_ID | MUI_MERGE_SYSTEM_FALLBACK | MUI_MERGE_USER_FALLBACK;
    GetThreadPreferredUILanguages(flags, &count, nullptr, &size);
    tstring list(size, L'\0');
    if (GetThreadPreferredUILanguages(flags, &count, list.data(), &size)) {
        for (const TCHAR* one = list.c_str(); *one != L'\0'; one += wcslen(one) + 1) {
            result.push_back(tstrings::toUtf8(one));
        }
    }
    return result;
}

void describeProcess(Description& description) {
    Json& process = description.json["process"];
    process["bits"] = static_cast<int>(sizeof(void*) * 8);
    process["administrator"] = security::isUserAdmin();
    process["elevated"] = security::isProcessElevated();
    process["localSystem"] = security::Sid::processOwnerUser().toString() == kLocalSystem;
    process["environment"] = Json::object();
    // The first of the variables by which Windows finds the directory.
    description.setText(process["environment"], "TMP", temporaryDirectory(), L"TMP");
    const tstring debugBreak = SysInfo::getEnvVariable(kDebugBreakVariable, tstring());
    if (!debugBreak.empty()) {
        description.setText(process["environment"], tstrings::toUtf8(kDebugBreakVariable),
                            debugBreak, kDebugBreakVariable);
    }
}

void describeShellFolder(Description& description, const char* name, int folder) {
    const tstring shown = L"folder " + tstrings::fromUtf8(name);
    try {
        const tstring path = SysInfo::SHGetFolderPathAdapter(folder | CSIDL_FLAG_DONT_VERIFY);
        description.setText(description.json["folders"], name, path, shown);
    } catch (const ComError& e) {
        description.addUnread(shown, static_cast<DWORD>(e.status()));
    }
}

void describeFolders(Description& description) {
    Json& folders = description.json["folders"] = Json::object();
    description.setText(folders, "windows", SysInfo::getWindowsDir(), L"folder windows");
    description.setText(folders, "system", SysInfo::getSystemDir(), L"folder system");
    if (SysInfo::is64BitOs()) {
        description.setText(folders, "wow64", SysInfo::getWow64Dir(), L"folder wow64");
    }
    constexpr std::pair<const char*, int> kShellFolders[] = {
        {"programFilesX86", CSIDL_PROGRAM_FILESX86},
        {"commonFiles", CSIDL_PROGRAM_FILES_COMMON},
        {"commonFilesX86", CSIDL_PROGRAM_FILES_COMMONX86},
        {"commonPrograms", CSIDL_COMMON_PROGRAMS}};
    for (const auto& [name, folder] : kShellFolders) {
        describeShellFolder(description, name, folder);
    }
}

/// The word for a type of GetDriveTypeW; null for a letter without a drive.
const char* driveTypeName(UINT type) {
    switch (type) {
        case DRIVE_REMOVABLE:
            return "removable";
        case DRIVE_FIXED:
            return "fixed";
        case DRIVE_REMOTE:
            return "remote";
        case DRIVE_CDROM:
            return "cdrom";
        case DRIVE_RAMDISK:
            return "ramdisk";
        default:
            return nullptr;
    }
}

void describeDrives(Description& description) {
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
        const tstring root{static_cast<TCHAR>(letter), L':', L'\\'};
        if (const char* const type = driveTypeName(GetDriveTypeW(root.c_str()))) {
            description.json["drives"][std::string(1, letter)] = type;
        }
    }
}

}  // namespace

void describeMachine(Description& description) {
    description.json["windows"] = {{"version", windowsVersion()},
                                   {"bits", SysInfo::is64BitOs() ? 64 : 32},
                                   {"languages", languages()}};
    describeProcess(description);
    describeFolders(description);
    describeDrives(description);
}
