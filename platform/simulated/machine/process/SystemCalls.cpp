// Facts of the system and of the process: directories, environment, version, languages, time.
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "simulated/machine/Machine.h"

using namespace simulated;

extern "C" LONG WINAPI RtlGetVersion(OSVERSIONINFOW* version);

namespace {

Facts& facts() {
    return Machine::current().facts;
}

/// A variable of the process. LocalSystem has no user's folders but those of Windows' own.
std::optional<std::u16string> variable(std::u16string_view name) {
    if (Machine::current().security.isLocalSystem()) {
        if (sameText(name, u"TEMP") || sameText(name, u"TMP")) {
            return facts().windowsDirectory + u"\\Temp";
        }
        if (sameText(name, u"USERPROFILE")) {
            return facts().systemDirectory + u"\\config\\systemprofile";
        }
    }
    const auto found = facts().environment.find(name);
    return found == facts().environment.end() ? std::nullopt : std::optional(found->second);
}

/// The first directory that the environment names for temporary files, as a full path.
std::u16string temporaryDirectory() {
    std::u16string directory = facts().windowsDirectory;
    for (const std::u16string_view name : {u"USERPROFILE", u"TEMP", u"TMP"}) {
        const std::optional<std::u16string> value = variable(name);
        directory = value && !value->empty() ? *value : directory;
    }
    directory = fullPath(directory, Machine::current().fileSystem.currentDirectory());
    return directory.ends_with(u'\\') ? directory : directory + u'\\';
}

/// Fills a version record of either size.
void fillVersion(OSVERSIONINFOW& record) {
    const WindowsVersion& version = facts().version;
    record.dwMajorVersion = version.major;
    record.dwMinorVersion = version.minor;
    record.dwBuildNumber = version.build;
    record.dwPlatformId = VER_PLATFORM_WIN32_NT;
    record.szCSDVersion[0] = u'\0';
    if (record.dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXW)) {
        auto& whole = reinterpret_cast<OSVERSIONINFOEXW&>(record);
        std::memset(&whole.wServicePackMajor, 0,
                    sizeof(whole) - offsetof(OSVERSIONINFOEXW, wServicePackMajor));
    }
}

UINT giveDirectory(const char* function, const std::u16string& directory, LPWSTR buffer,
                   UINT size) {
    return call(function, ERROR_NOT_ENOUGH_MEMORY,
                [&] { return copyOut(directory, buffer, size); });
}

}  // namespace

extern "C" {

DWORD WINAPI GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size) {
    const DWORD earlier = GetLastError();
    return call("GetEnvironmentVariableW", ERROR_ENVVAR_NOT_FOUND, [&] {
        const std::optional<std::u16string> value = variable(argument(name));
        demand(value.has_value(), ERROR_ENVVAR_NOT_FOUND);
        setLastError(earlier);  // so that the 0 of an empty variable looks like a failure
        return copyOut(*value, buffer, size);
    });
}

DWORD WINAPI GetTempPathW(DWORD size, LPWSTR buffer) {
    return call("GetTempPathW", ERROR_NOT_ENOUGH_MEMORY, [&] {
        // Windows clears the whole buffer, also one that is too small.
        std::fill_n(buffer, buffer == nullptr ? 0 : size, u'\0');
        return copyOut(temporaryDirectory(), buffer, size);
    });
}

UINT WINAPI GetSystemDirectoryW(LPWSTR buffer, UINT size) {
    return giveDirectory("GetSystemDirectoryW", facts().systemDirectory, buffer, size);
}

UINT WINAPI GetWindowsDirectoryW(LPWSTR buffer, UINT size) {
    return giveDirectory("GetWindowsDirectoryW", facts().windowsDirectory, buffer, size);
}

UINT WINAPI GetSystemWow64DirectoryW(LPWSTR buffer, UINT size) {
    return call("GetSystemWow64DirectoryW", ERROR_CALL_NOT_IMPLEMENTED, [&] {
        demand(facts().is64BitSystem, ERROR_CALL_NOT_IMPLEMENTED);
        return copyOut(facts().wow64Directory, buffer, size);
    });
}

void WINAPI GetNativeSystemInfo(LPSYSTEM_INFO info) {
    sureCall("GetNativeSystemInfo", [&] {
        required("GetNativeSystemInfo", info) = {};
        info->wProcessorArchitecture =
            facts().is64BitSystem ? PROCESSOR_ARCHITECTURE_AMD64 : PROCESSOR_ARCHITECTURE_INTEL;
        info->dwNumberOfProcessors = 2;
    });
}

LONG WINAPI RtlGetVersion(OSVERSIONINFOW* version) {
    constexpr DWORD kStatusUnsuccessful = 0xC0000001;
    return static_cast<LONG>(statusCall("RtlGetVersion", kStatusUnsuccessful,
                                        [&] { fillVersion(required("RtlGetVersion", version)); }));
}

BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW version) {
    return call("GetVersionExW", ERROR_INSUFFICIENT_BUFFER, [&] {
        required("GetVersionExW", version);
        demand(version->dwOSVersionInfoSize == sizeof(OSVERSIONINFOW) ||
                   version->dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXW),
               ERROR_INSUFFICIENT_BUFFER);
        fillVersion(*version);
    });
}

HANDLE WINAPI GetCurrentProcess() {
    return sureCall("GetCurrentProcess", [] { return INVALID_HANDLE_VALUE; });
}

BOOL WINAPI IsWow64Process(HANDLE process, PBOOL wow64) {
    return call("IsWow64Process", ERROR_INVALID_HANDLE, [&] {
        demand(process == INVALID_HANDLE_VALUE, ERROR_INVALID_HANDLE);
        required("IsWow64Process", wow64) = facts().isWow64() ? TRUE : FALSE;
    });
}

DWORD WINAPI GetCurrentProcessId() {
    return sureCall("GetCurrentProcessId", [] { return facts().processId; });
}

DWORD WINAPI GetCurrentThreadId() {
    return sureCall("GetCurrentThreadId", [] {
        auto& ids = facts().threadIds;
        const auto next = facts().threadId + static_cast<DWORD>(ids.size()) * 4;
        return ids.emplace(std::this_thread::get_id(), next).first->second;
    });
}

void WINAPI GetLocalTime(SYSTEMTIME* time) {
    sureCall("GetLocalTime", [&] { required("GetLocalTime", time) = facts().clock.localTime(); });
}

DWORD WINAPI GetTickCount() {
    return sureCall("GetTickCount", [] { return static_cast<DWORD>(facts().clock.ticks()); });
}

void WINAPI Sleep(DWORD milliseconds) {
    sureCall("Sleep", [&] {
        if (!Machine::current().calls.stopped()) {
            facts().clock.advance(milliseconds);
        }
    });
}

BOOL WINAPI GetThreadPreferredUILanguages(DWORD flags, PULONG count, PWSTR buffer, PULONG size) {
    return call("GetThreadPreferredUILanguages", ERROR_INVALID_PARAMETER, [&] {
        demand(buffer != nullptr || required("GetThreadPreferredUILanguages", size) == 0,
               ERROR_INVALID_PARAMETER);
        if (flags != (MUI_LANGUAGE_ID | MUI_MERGE_SYSTEM_FALLBACK | MUI_MERGE_USER_FALLBACK)) {
            notSupported("GetThreadPreferredUILanguages", "the flags " + std::to_string(flags));
        }
        std::u16string list;
        for (const std::u16string& language : facts().uiLanguages) {
            list += language + u'\0';
        }
        list.append(list.empty() ? 2 : 1, u'\0');
        required("GetThreadPreferredUILanguages", count) =
            static_cast<ULONG>(facts().uiLanguages.size());
        const ULONG room = std::exchange(*size, static_cast<ULONG>(list.size()));
        if (buffer != nullptr) {
            demand(room >= list.size(), ERROR_INSUFFICIENT_BUFFER);
            list.copy(buffer, list.size());
        }
    });
}

LCID WINAPI GetThreadLocale() {
    return sureCall("GetThreadLocale", [] { return facts().threadLocale; });
}

LANGID WINAPI GetUserDefaultUILanguage() {
    return sureCall("GetUserDefaultUILanguage", [] { return facts().userLanguage; });
}

LANGID WINAPI GetSystemDefaultUILanguage() {
    return sureCall("GetSystemDefaultUILanguage", [] { return facts().systemLanguage; });
}

}  // extern "C"
