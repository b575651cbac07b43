#include "windows/common/SysInfo.h"

#include <shlobj.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/PmtError.h"
#include "common/share/tstrings.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/Dll.h"
#include "windows/common/Paths.h"
#include "windows/common/Registry.h"

namespace {

using FileUtils::removeTrailingSlash;

/// The text of a buffer up to its NUL.
tstring textOf(const std::vector<TCHAR>& buffer) {
    return tstring(buffer.begin(), std::find(buffer.begin(), buffer.end(), _T('\0')));
}

/// Both calls take the basic form and tell the extended one by its size.
OSVERSIONINFOW* asBasic(OSVERSIONINFOEXW& version) {
    return reinterpret_cast<OSVERSIONINFOW*>(&version);
}

bool initWithRtlGetVersion(OSVERSIONINFOEXW& version) {
    const DllFunction<LONG(WINAPI*)(OSVERSIONINFOW*)> getVersion(Dll(_T("ntdll")), "RtlGetVersion");
    if (!getVersion.isAvailable()) {
        LOG_ERROR("`anonymous-namespace'::initWithRtlGetVersion",
                  _T("RtlGetVersion is not available"));
        return false;
    }
    const LONG status = getVersion(asBasic(version));
    if (status != 0) {
        LOG_ERROR("`anonymous-namespace'::initWithRtlGetVersion",
                  Text() << _T("RtlGetVersion() failed: ") << status);
        return false;
    }
    return true;
}

bool initWithGetVersionEx(OSVERSIONINFOEXW& version) {
    const DllFunction<BOOL(WINAPI*)(OSVERSIONINFOW*)> getVersion(Dll(_T("Kernel32")),
                                                                 "GetVersionExW");
    if (!getVersion.isAvailable()) {
        LOG_ERROR("`anonymous-namespace'::initWithGetVersionEx",
                  _T("GetVersionExW is not available"));
        return false;
    }
    if (!getVersion(asBasic(version))) {
        const DWORD status = GetLastError();
        LOG_ERROR("`anonymous-namespace'::initWithGetVersionEx",
                  tstrings::unsafe_format(_T("%s failed with %s"), _T("GetVersionExW()"),
                                          describeSystemError(status, nullptr).c_str()));
        return false;
    }
    return true;
}

/// One way to learn the version. Loading the library can't fail, so neither can this.
bool tryInit(bool (*init)(OSVERSIONINFOEXW&), const char* name, OSVERSIONINFOEXW& version) {
    OSVERSIONINFOEXW found = {};
    found.dwOSVersionInfoSize = sizeof(found);
    static_assert(sizeof(found) == 284);
    try {
        if (init(found)) {
            version = found;
            return true;
        }
    } catch (const std::exception& e) {
        logException(name, e);
    }
    return false;
}

SysInfo::OsVersion detectOsVersion() noexcept {
    OSVERSIONINFOEXW version = {};
    try {
        if (!tryInit(initWithRtlGetVersion, "`anonymous-namespace'::initWithRtlGetVersion",
                     version)) {
            tryInit(initWithGetVersionEx, "`anonymous-namespace'::initWithGetVersionEx", version);
        }
    } catch (...) {
        // Nothing could even be logged: the version stays unknown.
    }
    return SysInfo::classifyOsVersion(version.dwMajorVersion, version.dwMinorVersion);
}

const SysInfo::OsVersion runningOsVersion = detectOsVersion();

}  // namespace

namespace SysInfo {

namespace {

constexpr WORD kArchitectureX64 = PROCESSOR_ARCHITECTURE_AMD64;
constexpr int kProgramFilesX86 = CSIDL_PROGRAM_FILESX86;
constexpr std::size_t kFirstPathSize = 260;

/// What the three directory functions of Windows have in common; `name` is the messages' own.
tstring getSystemDirImpl(UINT(WINAPI* function)(LPWSTR, UINT), const TCHAR* name) {
    std::vector<TCHAR> buffer(kFirstPathSize);
    for (int round = 0; round < 2; ++round) {
        const UINT length = function(buffer.data(), static_cast<UINT>(buffer.size()));
        if (length == 0) {
            const DWORD status = GetLastError();
            throw PmtError<SysError>(SysError(Text() << name << _T(" failed"), function, status),
                                     "SysInfo::getSystemDirImpl");
        }
        if (length < buffer.size()) {
            return removeTrailingSlash(textOf(buffer));
        }
        buffer.resize(length + 1);
    }
    throw PmtError<std::runtime_error>(
        std::runtime_error((Text() << _T("Unexpected reply from") << name).utf8()),
        "SysInfo::getSystemDirImpl");
}

}  // namespace

OsVersion classifyOsVersion(DWORD major, DWORD minor) {
    if (major == 5 && (minor == 1 || minor == 2)) {
        return OsVersion::WindowsXp;
    }
    if (major == 6 && minor <= 3) {
        constexpr OsVersion kVersions[] = {OsVersion::WindowsVista, OsVersion::Windows7,
                                           OsVersion::Windows8, OsVersion::Windows81};
        return kVersions[minor];
    }
    if (major == 10 && minor == 0) {
        return OsVersion::Windows10;
    }
    return major > 5 ? OsVersion::Later : OsVersion::Unknown;
}

OsVersion osVersion() {
    return runningOsVersion;
}

bool is64BitOs() {
    SYSTEM_INFO info = {};
    GetNativeSystemInfo(&info);
    return info.wProcessorArchitecture == kArchitectureX64;
}

bool isWow64() {
    const DllFunction<BOOL(WINAPI*)(HANDLE, BOOL*)> isWow64Process(Dll(_T("kernel32")),
                                                                   "IsWow64Process");
    if (!isWow64Process.isAvailable()) {
        return false;
    }
    BOOL result = FALSE;
    if (!isWow64Process(GetCurrentProcess(), &result)) {
        throw PmtError<std::runtime_error>(std::runtime_error("fnIsWow64Process() failed"),
                                           "SysInfo::isWow64");
    }
    return result != FALSE;
}

HMODULE getCurrentModuleHandle() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&getCurrentModuleHandle), &module)) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(_T("GetModuleHandleExW failed"), GetModuleHandleExW, status),
            "SysInfo::getCurrentModuleHandle");
    }
    return module;
}

tstring getModulePath(HMODULE module) {
    std::vector<TCHAR> buffer(kFirstPathSize);
    DWORD length;
    while ((length = GetModuleFileNameW(module, buffer.data(),
                                        static_cast<DWORD>(buffer.size()))) >= buffer.size()) {
        buffer.resize(buffer.size() * 2);
    }
    if (length == 0) {
        const DWORD status = GetLastError();
        throw PmtError<SysError>(
            SysError(_T("GetModuleFileName failed"), GetModuleFileNameW, status),
            "SysInfo::`anonymous-namespace'::getModulePath");
    }
    return removeTrailingSlash(textOf(buffer));
}

tstring getTempDir() {
    std::vector<TCHAR> buffer(kFirstPathSize);
    const DWORD length = GetTempPathW(static_cast<DWORD>(buffer.size()), buffer.data());
    if (length > buffer.size()) {
        buffer.resize(length);
        GetTempPathW(length, buffer.data());
    }
    return removeTrailingSlash(textOf(buffer));
}

tstring getSystemDir() {
    return getSystemDirImpl(GetSystemDirectoryW, _T("GetSystemDirectory"));
}

tstring getWow64Dir() {
    return getSystemDirImpl(GetSystemWow64DirectoryW, _T("GetSystemWow64Directory"));
}

tstring getWindowsDir() {
    return getSystemDirImpl(GetWindowsDirectoryW, _T("GetWindowsDirectory"));
}

tstring getSystem64Dir() {
    if (!is64BitOs()) {
        throw PmtError<std::runtime_error>(std::runtime_error("OS is not 64bit"),
                                           "SysInfo::getSystem64Dir");
    }
    // Under WOW64 the system directory's own name leads to the 32-bit one.
    return isWow64() ? FileUtils::combinePath(getWindowsDir(), _T("Sysnative")) : getSystemDir();
}

tstring getProgramFilesDir() {
    if (!is64BitOs()) {
        return SHGetFolderPathAdapter(kProgramFilesX86);
    }
    const Registry key(HKLM64, _T("SOFTWARE\\Microsoft\\Windows\\CurrentVersion"),
                       Registry::Mode::Read);
    return removeTrailingSlash(key.getString(_T("ProgramFilesDir")));
}

tstring SHGetFolderPathAdapter(int folder, int mode) {
    TCHAR path[MAX_PATH] = {};
    const int wanted = mode == 1 ? folder | CSIDL_FLAG_CREATE : folder;
    const HRESULT status = SHGetFolderPathW(nullptr, wanted, nullptr, SHGFP_TYPE_CURRENT, path);
    if (FAILED(status)) {
        throw PmtError<ComError>(
            ComError(Text() << _T("SHGetFolderPath(0x") << Hex{static_cast<std::uint32_t>(folder)}
                            << _T(", mode=") << mode << _T(")"),
                     status),
            "SysInfo::SHGetFolderPathAdapter");
    }
    return removeTrailingSlash(path);
}

tstring getEnvVariable(const tstring& name, const tstring& fallback) {
    std::vector<TCHAR> buffer(10);
    SetLastError(ERROR_SUCCESS);
    const DWORD length =
        GetEnvironmentVariableW(name.c_str(), buffer.data(), static_cast<DWORD>(buffer.size()));
    if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) {
        return fallback;
    }
    if (length > buffer.size()) {
        buffer.resize(length);
        SetLastError(ERROR_SUCCESS);
        GetEnvironmentVariableW(name.c_str(), buffer.data(), length);
        if (GetLastError() != ERROR_SUCCESS) {
            return fallback;
        }
    }
    return textOf(buffer);
}

}  // namespace SysInfo
