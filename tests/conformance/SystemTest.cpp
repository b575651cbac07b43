#include <windows.h>
#include <tchar.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "Form.h"
#include "Inspection.h"

namespace {

using tstring = std::basic_string<TCHAR>;

tstring lowerCase(tstring text) {
    for (TCHAR& c : text) {
        c = c >= _T('A') && c <= _T('Z') ? static_cast<TCHAR>(c + 32) : c;
    }
    return text;
}

tstring systemDirectory() {
    TCHAR buffer[MAX_PATH];
    return tstring(buffer, GetSystemDirectoryW(buffer, MAX_PATH));
}

TEST(SystemTest, VariablesAreReadInTheirLength) {
    const TCHAR* const name = _T("NorvConformance");
    TCHAR buffer[8] = {};
    SetLastError(0);
    EXPECT_EQ(GetEnvironmentVariableW(name, buffer, 8), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ENVVAR_NOT_FOUND});
    setVariable(name, _T("value"));
    const struct {
        DWORD size;
        DWORD result;
    } kCases[] = {{0, 6}, {1, 6}, {5, 6}, {6, 5}, {8, 5}};
    for (const auto& one : kCases) {
        EXPECT_EQ(GetEnvironmentVariableW(_T("norvCONFORMANCE"), buffer, one.size), one.result)
            << one.size;
    }
    EXPECT_EQ(tstring(buffer), _T("value"));
    setVariable(name, _T(""));
    SetLastError(0);
    EXPECT_EQ(GetEnvironmentVariableW(name, buffer, 8), 0u);
    EXPECT_NE(GetLastError(), DWORD{ERROR_ENVVAR_NOT_FOUND});
    setVariable(name, nullptr);
    EXPECT_EQ(GetEnvironmentVariableW(name, buffer, 8), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ENVVAR_NOT_FOUND});
}

TEST(SystemTest, DirectoriesTellTheRoomThatTheyNeed) {
    const std::function<UINT(LPWSTR, UINT)> kCalls[] = {
        [](LPWSTR buffer, UINT size) { return GetSystemDirectoryW(buffer, size); },
        [](LPWSTR buffer, UINT size) { return GetWindowsDirectoryW(buffer, size); },
        [](LPWSTR buffer, UINT size) { return UINT{GetTempPathW(size, buffer)}; },
        [](LPWSTR buffer, UINT size) {
            return isWindows64Bit() ? GetSystemWow64DirectoryW(buffer, size)
                                    : GetSystemDirectoryW(buffer, size);
        },
    };
    for (const auto& call : kCalls) {
        TCHAR buffer[MAX_PATH] = {};
        const UINT length = call(buffer, MAX_PATH);
        EXPECT_EQ(tstring(buffer).size(), length);
        EXPECT_EQ(tstring(buffer).substr(1, 2), _T(":\\"));
        EXPECT_EQ(call(buffer, length), length + 1);
        EXPECT_EQ(call(buffer, length + 1), length);
        EXPECT_EQ(call(nullptr, 0), length + 1);
    }
    if (!isWindows64Bit()) {
        EXPECT_EQ(GetSystemWow64DirectoryW(nullptr, 0), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_CALL_NOT_IMPLEMENTED});
    }
}

TEST(SystemTest, TheTemporaryDirectoryIsTheVariables) {
    TCHAR old[MAX_PATH] = {};
    GetEnvironmentVariableW(_T("TMP"), old, MAX_PATH);
    for (const TCHAR* const value :
         {_T("C:\\windows"), _T("C:\\windows\\"), _T("C:/windows/temp/..")}) {
        setVariable(_T("TMP"), value);
        TCHAR buffer[MAX_PATH] = {};
        EXPECT_EQ(GetTempPathW(MAX_PATH, buffer), 11u);
        EXPECT_EQ(tstring(buffer), _T("C:\\windows\\"));
    }
    setVariable(_T("TMP"), old[0] == 0 ? nullptr : old);
}

TEST(SystemTest, ModulesAreKnownByNameAndByAddress) {
    HMODULE module = nullptr;
    const DWORD flags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    EXPECT_EQ(GetModuleHandleW(_T("KERNEL32")), GetModuleHandleW(_T("kernel32.dll")));
    // The address of a function in another library may be that of a stub of this program's own.
    const FARPROC address = GetProcAddress(GetModuleHandleW(_T("kernel32")), "DeleteFileW");
    ASSERT_TRUE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(address), &module));
    TCHAR path[MAX_PATH];
    ASSERT_NE(GetModuleFileNameW(module, path, MAX_PATH), 0u);
    EXPECT_EQ(lowerCase(path).substr(0, lowerCase(systemDirectory()).size()),
              lowerCase(systemDirectory()));
    int local = 0;
    HMODULE own = nullptr;
    EXPECT_FALSE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&local), &own));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
    EXPECT_EQ(own, nullptr);
    ASSERT_TRUE(GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(&lowerCase), &own));
    EXPECT_NE(own, module);
    EXPECT_EQ(GetModuleHandleW(_T("norv-no-such.dll")), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(SystemTest, APathOfAModuleIsCutToTheBuffer) {
    const HMODULE module = GetModuleHandleW(_T("kernel32.dll"));
    TCHAR path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
    TCHAR buffer[MAX_PATH];
    EXPECT_EQ(GetModuleFileNameW(module, buffer, length + 1), length);
    EXPECT_EQ(GetModuleFileNameW(module, buffer, length), length);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(tstring(buffer, length - 1), tstring(path, length - 1));
}

TEST(SystemTest, LibrariesAreLoadedFromTheSystemDirectory) {
    const HMODULE library = LoadLibraryW((systemDirectory() + _T("\\advapi32")).c_str());
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(library, GetModuleHandleW(_T("advapi32")));
    EXPECT_NE(GetProcAddress(library, "RegDeleteTreeW"), nullptr);
    EXPECT_NE(GetProcAddress(library, "RegDeleteKeyExW"), nullptr);
    EXPECT_EQ(GetProcAddress(library, "NorvNoSuchFunction"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
    HMODULE again = nullptr;
    EXPECT_TRUE(GetModuleHandleExW(0, (systemDirectory() + _T("\\advapi32")).c_str(), &again));
    EXPECT_EQ(again, library);
    EXPECT_TRUE(FreeLibrary(again));
    EXPECT_TRUE(FreeLibrary(library));
    EXPECT_EQ(LoadLibraryW((systemDirectory() + _T("\\norv-no-such")).c_str()), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(SystemTest, FunctionsAreFoundByName) {
    using Wow64Function = BOOL(WINAPI*)(HANDLE, PBOOL);
    const auto isWow64 = reinterpret_cast<Wow64Function>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(_T("kernel32")), "IsWow64Process")));
    ASSERT_NE(isWow64, nullptr);
    BOOL wow64 = 7;
    EXPECT_TRUE(isWow64(GetCurrentProcess(), &wow64));
    EXPECT_EQ(wow64 != FALSE, isWindows64Bit() && !isProgram64Bit());
    EXPECT_FALSE(isWow64(nullptr, &wow64));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    SYSTEM_INFO info = {};
    GetNativeSystemInfo(&info);
    EXPECT_EQ(info.wProcessorArchitecture,
              isWindows64Bit() ? PROCESSOR_ARCHITECTURE_AMD64 : PROCESSOR_ARCHITECTURE_INTEL);
    using VersionFunction = LONG(WINAPI*)(OSVERSIONINFOEXW*);
    const auto version = reinterpret_cast<VersionFunction>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(_T("ntdll")), "RtlGetVersion")));
    ASSERT_NE(version, nullptr);
    OSVERSIONINFOEXW record = {};
    record.dwOSVersionInfoSize = sizeof(record);
    ASSERT_EQ(sizeof(record), 284u);
    EXPECT_EQ(version(&record), 0);
    EXPECT_GE(record.dwMajorVersion, 5u);
    EXPECT_EQ(record.dwPlatformId, DWORD{VER_PLATFORM_WIN32_NT});
    OSVERSIONINFOEXW older = {};
    auto* const head = reinterpret_cast<OSVERSIONINFOW*>(&older);
    EXPECT_FALSE(GetVersionExW(head));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    older.dwOSVersionInfoSize = sizeof(older);
    EXPECT_TRUE(GetVersionExW(head));
    EXPECT_EQ(older.dwPlatformId, DWORD{VER_PLATFORM_WIN32_NT});
}

TEST(SystemTest, TheInstallersTextsAreReadAsData) {
    const HMODULE module = LoadLibraryExW((systemDirectory() + _T("\\msimsg.dll")).c_str(), nullptr,
                                          LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(FindResourceW(module, MAKEINTRESOURCEW(0xFFF0), RT_STRING), nullptr);
    const DWORD status = GetLastError();
    EXPECT_TRUE(status == ERROR_RESOURCE_NAME_NOT_FOUND || status == ERROR_RESOURCE_TYPE_NOT_FOUND)
        << status;
    EXPECT_EQ(FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(0x77)), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_TYPE_NOT_FOUND});
    EXPECT_EQ(LoadResource(module, nullptr), nullptr);
    EXPECT_EQ(SizeofResource(module, nullptr), 0u);
    // Wine keeps these texts as messages. That a block holds sixteen counted strings is by
    // Microsoft's "STRINGTABLE resource".
    if (!isWine()) {
        const HRSRC block = FindResourceW(module, MAKEINTRESOURCEW(101), RT_STRING);
        ASSERT_NE(block, nullptr);
        const auto* at = static_cast<const TCHAR*>(LockResource(LoadResource(module, block)));
        const TCHAR* const end = at + SizeofResource(module, block) / sizeof(TCHAR);
        for (int i = 0; i < 16; ++i) {
            ASSERT_LT(at, end);
            at += 1 + *at;
        }
        EXPECT_EQ(at, end);
    }
    EXPECT_TRUE(FreeLibrary(module));
    EXPECT_FALSE(CloseHandle(module));
    EXPECT_EQ(LoadLibraryExW((systemDirectory() + _T("\\norv-no-such.dll")).c_str(), nullptr,
                             LOAD_LIBRARY_AS_DATAFILE),
              nullptr);
}

TEST(SystemTest, AVersionIsReadAsItsFileMayBe) {
    const tstring path = systemDirectory() + _T("\\kernel32.dll");
    DWORD zeroed = 7;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &zeroed);
    EXPECT_EQ(zeroed, 0u);
    ASSERT_GT(size, sizeof(VS_FIXEDFILEINFO));
    std::vector<BYTE> block(size);
    ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, size, block.data()));
    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), _T("\\"), &value, &length));
    EXPECT_EQ(length, sizeof(VS_FIXEDFILEINFO));
    VS_FIXEDFILEINFO fixed;
    std::memcpy(&fixed, value, sizeof(fixed));
    EXPECT_EQ(fixed.dwSignature, 0xFEEF04BDu);
    TCHAR temp[MAX_PATH];
    const tstring copy = tstring(temp, GetTempPathW(MAX_PATH, temp)) + _T("NorvVersion.dll");
    EXPECT_EQ(GetFileVersionInfoSizeW(copy.c_str(), &zeroed), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    ASSERT_TRUE(CopyFileW(path.c_str(), copy.c_str(), FALSE));
    const HANDLE held = CreateFileW(copy.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_FALSE(GetFileVersionInfoW(copy.c_str(), 0, size, block.data()));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_TRUE(CloseHandle(held));
    EXPECT_TRUE(DeleteFileW(copy.c_str()));
}

TEST(SystemTest, A32BitProgramReachesTheRealSystemDirectoryAsSysnative) {
    const tstring native = systemDirectory().substr(0, 11) + _T("Sysnative");
    EXPECT_EQ(GetFileAttributesW(native.c_str()) != INVALID_FILE_ATTRIBUTES,
              isWindows64Bit() && !isProgram64Bit());
    EXPECT_NE(GetFileAttributesW(systemDirectory().c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST(SystemTest, MessagesEndInALineBreak) {
    const DWORD flags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    const HMODULE module = GetModuleHandleW(_T("advapi32.dll"));
    LPWSTR text = nullptr;
    for (const DWORD status : {2, 5, 87, 1018}) {
        const DWORD length =
            FormatMessageW(flags, nullptr, status, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
        ASSERT_GT(length, 3u) << status;
        EXPECT_EQ(tstring(text).find(_T(".\r\n")), length - 3);
        EXPECT_EQ(LocalFree(text), nullptr);
        EXPECT_EQ(FormatMessageW(flags | FORMAT_MESSAGE_FROM_HMODULE, module, status, 0,
                                 reinterpret_cast<LPWSTR>(&text), 0, nullptr),
                  length);
        LocalFree(text);
    }
    EXPECT_EQ(
        FormatMessageW(flags, nullptr, 0x2FFF1234, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr),
        0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MR_MID_NOT_FOUND});
    EXPECT_EQ(text, nullptr);
}

TEST(SystemTest, LanguagesAreFourHexadecimalDigitsEach) {
    const DWORD flags = MUI_LANGUAGE_ID | MUI_MERGE_SYSTEM_FALLBACK | MUI_MERGE_USER_FALLBACK;
    ULONG count = 0;
    ULONG size = 0;
    ASSERT_TRUE(GetThreadPreferredUILanguages(flags, &count, nullptr, &size));
    ASSERT_GT(count, 0u);
    EXPECT_EQ(size, count * 5 + 1);
    tstring list(size, _T('#'));
    ULONG less = size - 1;
    EXPECT_FALSE(GetThreadPreferredUILanguages(flags, &count, &list[0], &less));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    ASSERT_TRUE(GetThreadPreferredUILanguages(flags, &count, &list[0], &size));
    for (ULONG i = 0; i < count; ++i) {
        EXPECT_EQ(list.find_first_not_of(_T("0123456789ABCDEF"), i * 5), i * 5 + 4);
        EXPECT_EQ(list[i * 5 + 4], _T('\0'));
    }
    EXPECT_EQ(list[count * 5], _T('\0'));
    EXPECT_EQ(list.substr(0, 4), _T("0409"));
    EXPECT_EQ(GetThreadLocale(), 0x0409u);
    EXPECT_EQ(GetUserDefaultUILanguage(), 0x0409);
    EXPECT_EQ(GetSystemDefaultUILanguage(), 0x0409);
}

TEST(SystemTest, ClockAndNumbersOfTheProcess) {
    GetTickCount();
    Sleep(1);
    SYSTEMTIME time = {};
    GetLocalTime(&time);
    EXPECT_GE(time.wYear, 2020);
    EXPECT_LE(time.wMonth, 12);
    EXPECT_LE(time.wDayOfWeek, 6);
    EXPECT_NE(GetCurrentProcessId(), 0u);
    EXPECT_EQ(GetCurrentThreadId(), GetCurrentThreadId());
    CRITICAL_SECTION section = {};
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    LeaveCriticalSection(&section);
    LeaveCriticalSection(&section);
    DeleteCriticalSection(&section);
}

TEST(SystemTest, WithoutADisplayBoxesAreClosedAndMessagesReachNobody) {
    EXPECT_EQ(MessageBoxW(nullptr, _T("text"), _T("caption"), MB_OK | MB_TASKMODAL), 0);
    DWORD_PTR result = 7;
    EXPECT_NE(SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                                  reinterpret_cast<LPARAM>(_T("Environment")), SMTO_ABORTIFHUNG,
                                  1000, &result),
              0);
}

}  // namespace
