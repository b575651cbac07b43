// Facts of the system and of the process: directories, environment, version, languages, time.
#include <windows.h>

#include <string>

#include "simulated/machine/Machine.h"

using namespace simulated;

extern "C" LONG WINAPI RtlGetVersion(POSVERSIONINFOW version);

namespace {

constexpr DWORD kLongestVariable = 32767;
constexpr DWORD kPageSize = 4096;

Facts& facts() {
    return Machine::current().facts;
}

DWORD giveDirectory(const std::u16string& directory, LPWSTR buffer, DWORD size) {
    return copyOut(directory, buffer, size);
}

/// The first directory that the environment names for temporary files.
std::u16string temporaryDirectory() {
    for (const std::u16string_view name : {u"TMP", u"TEMP", u"USERPROFILE"}) {
        const std::optional<std::u16string> value = facts().variable(name);
        if (value && !value->empty()) {
            return *value;
        }
    }
    return facts().windowsDirectory;
}

/// Fills a version record of either size; false for any other size.
bool fillVersion(OSVERSIONINFOW& record, bool anySize) {
    const bool extended = record.dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXW);
    if (!extended && !anySize && record.dwOSVersionInfoSize != sizeof(OSVERSIONINFOW)) {
        return false;
    }
    const WindowsVersion& version = facts().version;
    record.dwMajorVersion = version.major;
    record.dwMinorVersion = version.minor;
    record.dwBuildNumber = version.build;
    record.dwPlatformId = VER_PLATFORM_WIN32_NT;
    copyOut(std::u16string_view(version.servicePackText).substr(0, 127), record.szCSDVersion, 128);
    if (extended) {
        auto& whole = reinterpret_cast<OSVERSIONINFOEXW&>(record);
        whole.wServicePackMajor = version.servicePack;
        whole.wServicePackMinor = 0;
        whole.wSuiteMask = 0x100;
        whole.wProductType = version.productType;
        whole.wReserved = 0;
    }
    return true;
}

}  // namespace

extern "C" {

DWORD WINAPI GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size) {
    Call call("GetEnvironmentVariableW");
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_ENVVAR_NOT_FOUND)));
    }
    const std::optional<std::u16string> value = facts().variable(argument(name));
    if (!value) {
        return static_cast<DWORD>(failWith(ERROR_ENVVAR_NOT_FOUND));
    }
    return copyOut(*value, buffer, size);
}

BOOL WINAPI SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value) {
    Call call("SetEnvironmentVariableW");
    if (call.fails()) {
        return failWith(call.status(ERROR_NOT_ENOUGH_MEMORY));
    }
    const std::u16string_view text = argument(name);
    if (text.empty() || text.find(u'=', 1) != std::u16string_view::npos) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    if (value == nullptr && !facts().variable(text)) {
        return failWith(ERROR_ENVVAR_NOT_FOUND);
    }
    if (argument(value).size() > kLongestVariable) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    auto& changed = facts().processEnvironment[std::u16string(text)];
    changed = value == nullptr ? std::nullopt : std::optional<std::u16string>(value);
    return TRUE;
}

DWORD WINAPI GetTempPathW(DWORD size, LPWSTR buffer) {
    Call call("GetTempPathW");
    if (call.fails()) {
        return static_cast<DWORD>(failWith(call.status(ERROR_NOT_ENOUGH_MEMORY)));
    }
    std::u16string directory = temporaryDirectory();
    if (directory.back() != u'\\') {
        directory += u'\\';
    }
    return giveDirectory(directory, buffer, size);
}

UINT WINAPI GetSystemDirectoryW(LPWSTR buffer, UINT size) {
    Call call("GetSystemDirectoryW");
    if (call.fails()) {
        return static_cast<UINT>(failWith(call.status(ERROR_NOT_ENOUGH_MEMORY)));
    }
    return giveDirectory(facts().systemDirectory, buffer, size);
}

UINT WINAPI GetSystemWow64DirectoryW(LPWSTR buffer, UINT size) {
    Call call("GetSystemWow64DirectoryW");
    if (call.fails()) {
        return static_cast<UINT>(failWith(call.status(ERROR_CALL_NOT_IMPLEMENTED)));
    }
    if (!facts().is64BitSystem) {
        return static_cast<UINT>(failWith(ERROR_CALL_NOT_IMPLEMENTED));
    }
    return giveDirectory(facts().wow64Directory, buffer, size);
}

UINT WINAPI GetWindowsDirectoryW(LPWSTR buffer, UINT size) {
    Call call("GetWindowsDirectoryW");
    if (call.fails()) {
        return static_cast<UINT>(failWith(call.status(ERROR_NOT_ENOUGH_MEMORY)));
    }
    return giveDirectory(facts().windowsDirectory, buffer, size);
}

void WINAPI GetNativeSystemInfo(LPSYSTEM_INFO info) {
    const Call call("GetNativeSystemInfo");
    *info = {};
    info->wProcessorArchitecture =
        facts().is64BitSystem ? PROCESSOR_ARCHITECTURE_AMD64 : PROCESSOR_ARCHITECTURE_INTEL;
    info->dwPageSize = kPageSize;
    info->dwAllocationGranularity = 16 * kPageSize;
    info->dwNumberOfProcessors = 2;
    info->dwActiveProcessorMask = 3;
}

LONG WINAPI RtlGetVersion(POSVERSIONINFOW version) {
    Call call("RtlGetVersion");
    if (call.fails()) {
        constexpr DWORD kStatusUnsuccessful = 0xC0000001;
        return static_cast<LONG>(call.status(kStatusUnsuccessful));
    }
    fillVersion(*version, true);
    return 0;
}

BOOL WINAPI GetVersionExW(LPOSVERSIONINFOW version) {
    Call call("GetVersionExW");
    if (call.fails()) {
        return failWith(call.status(ERROR_INSUFFICIENT_BUFFER));
    }
    return fillVersion(*version, false) ? TRUE : failWith(ERROR_INSUFFICIENT_BUFFER);
}

HANDLE WINAPI GetCurrentProcess() {
    const Call call("GetCurrentProcess");
    return INVALID_HANDLE_VALUE;
}

BOOL WINAPI IsWow64Process(HANDLE process, PBOOL wow64) {
    Call call("IsWow64Process");
    if (call.fails()) {
        return failWith(call.status(ERROR_INVALID_HANDLE));
    }
    if (process != INVALID_HANDLE_VALUE) {
        return failWith(ERROR_INVALID_HANDLE);
    }
    *wow64 = facts().isWow64() ? TRUE : FALSE;
    return TRUE;
}

DWORD WINAPI GetCurrentProcessId() {
    const Call call("GetCurrentProcessId");
    return facts().processId;
}

DWORD WINAPI GetCurrentThreadId() {
    const Call call("GetCurrentThreadId");
    auto& ids = facts().threadIds;
    const auto next = facts().threadId + static_cast<DWORD>(ids.size()) * 4;
    return ids.emplace(std::this_thread::get_id(), next).first->second;
}

void WINAPI GetLocalTime(SYSTEMTIME* time) {
    const Call call("GetLocalTime");
    *time = facts().clock.localTime();
}

DWORD WINAPI GetTickCount() {
    const Call call("GetTickCount");
    return static_cast<DWORD>(facts().clock.ticks());
}

void WINAPI Sleep(DWORD milliseconds) {
    const Call call("Sleep");
    if (!Machine::current().calls.stopped()) {
        facts().clock.advance(milliseconds);
    }
}

BOOL WINAPI GetThreadPreferredUILanguages(DWORD flags, PULONG count, PWSTR buffer, PULONG size) {
    Call call("GetThreadPreferredUILanguages");
    if (call.fails()) {
        return failWith(call.status(ERROR_INVALID_PARAMETER));
    }
    if (count == nullptr || size == nullptr || (buffer == nullptr && *size != 0)) {
        return failWith(ERROR_INVALID_PARAMETER);
    }
    if ((flags & MUI_LANGUAGE_ID) == 0) {
        return failWith(ERROR_NOT_SUPPORTED);  // names of languages are not simulated
    }
    std::u16string list;
    for (const std::u16string& language : facts().uiLanguages) {
        list += language + u'\0';
    }
    if (list.empty()) {
        list += u'\0';
    }
    list += u'\0';
    *count = static_cast<ULONG>(facts().uiLanguages.size());
    const ULONG room = *size;
    *size = static_cast<ULONG>(list.size());
    if (buffer == nullptr) {
        return TRUE;
    }
    if (room < list.size()) {
        return failWith(ERROR_INSUFFICIENT_BUFFER);
    }
    list.copy(buffer, list.size());
    return TRUE;
}

LCID WINAPI GetThreadLocale() {
    const Call call("GetThreadLocale");
    return facts().threadLocale;
}

LANGID WINAPI GetUserDefaultUILanguage() {
    const Call call("GetUserDefaultUILanguage");
    return facts().userLanguage;
}

LANGID WINAPI GetSystemDefaultUILanguage() {
    const Call call("GetSystemDefaultUILanguage");
    return facts().systemLanguage;
}

}  // extern "C"
