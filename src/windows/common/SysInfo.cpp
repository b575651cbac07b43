#include "windows/common/SysInfo.h"

#include <shlobj.h>

#include <stdexcept>

#include "common/share/GrowingBuffer.h"
#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/ProcessPaths.h"
#include "common/windows/WinErrorHandling.h"
#include "windows/common/Dll.h"
#include "windows/common/Paths.h"
#include "windows/common/Registry.h"

namespace {

using FileUtils::removeTrailingSlash;

/// Both functions take the basic structure and recognise the extended one by its size.
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
        logFailedCall("`anonymous-namespace'::initWithGetVersionEx", FailedCall(nullptr)
                                                                         << _T("GetVersionExW()"));
        return false;
    }
    return true;
}

/// Tries one way to read the version. Must not throw: loading the library can't fail.
bool tryInit(bool (*init)(OSVERSIONINFOEXW&), const SourceLocation& where,
             OSVERSIONINFOEXW& version) noexcept {
    OSVERSIONINFOEXW found = {};
    found.dwOSVersionInfoSize = sizeof(found);
    static_assert(sizeof(found) == 284);
    return runLogged(where, false, [&] {
        if (!init(found)) {
            return false;
        }
        version = found;
        return true;
    });
}

SysInfo::OsVersion detectOsVersion() noexcept {
    OSVERSIONINFOEXW version = {};
    if (!tryInit(initWithRtlGetVersion, "`anonymous-namespace'::initWithRtlGetVersion", version)) {
        tryInit(initWithGetVersionEx, "`anonymous-namespace'::initWithGetVersionEx", version);
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

/// The common part of Windows' three directory functions; `name` is the one in messages.
tstring getSystemDirImpl(UINT(WINAPI* function)(LPWSTR, UINT), const TCHAR* name) {
    constexpr const char* kFunction = "SysInfo::getSystemDirImpl";
    int rounds = 0;
    return removeTrailingSlash(
        readGrowing<tstring>(kFirstPathSize, [&](TCHAR* path, std::size_t size) {
            if (++rounds > 2) {
                raise<std::runtime_error>(kFunction, Text() << _T("Unexpected reply from") << name);
            }
            const std::size_t length = function(path, static_cast<UINT>(size));
            if (length == 0) {
                raise(kFunction, FailedCall(function) << name << _T(" failed"));
            }
            return length < size ? length : length + 1;
        }));
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
        raise<std::runtime_error>("SysInfo::isWow64", "fnIsWow64Process() failed");
    }
    return result != FALSE;
}

std::uint32_t runningBits() {
    return is64BitOs() && !isWow64() ? 64 : 32;
}

HMODULE getCurrentModuleHandle() {
    const HMODULE module = moduleOf(reinterpret_cast<const void*>(&getCurrentModuleHandle));
    if (module == nullptr) {
        raise("SysInfo::getCurrentModuleHandle", FailedCall(GetModuleHandleExW)
                                                     << _T("GetModuleHandleExW failed"));
    }
    return module;
}

tstring getModulePath(HMODULE module) {
    const tstring path = modulePath(module);
    if (path.empty()) {
        raise("SysInfo::`anonymous-namespace'::getModulePath",
              FailedCall(GetModuleFileNameW) << _T("GetModuleFileName failed"));
    }
    return removeTrailingSlash(path);
}

tstring getTempDir() {
    return temporaryDirectory();
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
        raise<std::runtime_error>("SysInfo::getSystem64Dir", "OS is not 64bit");
    }
    // Under WOW64 the name of the system directory is redirected to the 32-bit one.
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
        const Text call = Text() << _T("SHGetFolderPath(0x")
                                 << Hex{static_cast<std::uint32_t>(folder)} << _T(", mode=") << mode
                                 << _T(")");
        raise<ComError>("SysInfo::SHGetFolderPathAdapter", call.str(), status);
    }
    return removeTrailingSlash(path);
}

tstring getEnvVariable(const tstring& name, const tstring& fallback) {
    constexpr std::size_t kFirstSize = 10;
    bool isSet = true;
    const tstring value = readGrowing<tstring>(kFirstSize, [&](TCHAR* text, std::size_t size) {
        SetLastError(ERROR_SUCCESS);
        const std::size_t length =
            GetEnvironmentVariableW(name.c_str(), text, static_cast<DWORD>(size));
        const DWORD status = GetLastError();
        isSet = status != ERROR_ENVVAR_NOT_FOUND && (size == kFirstSize || status == ERROR_SUCCESS);
        return length;
    });
    return isSet ? value : fallback;
}

}  // namespace SysInfo
