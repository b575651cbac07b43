#include <windows.h>
#include <tchar.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Form.h"
#include "Inspection.h"

namespace {

tstring lowerCase(tstring text) {
    for (TCHAR& c : text) {
        c = c >= _T('A') && c <= _T('Z') ? static_cast<TCHAR>(c + 32) : c;
    }
    return text;
}

DWORD lastErrorOf(bool failed) {
    const DWORD status = GetLastError();
    EXPECT_TRUE(failed);
    return status;
}

tstring systemDirectory() {
    TCHAR buffer[MAX_PATH];
    return tstring(buffer, GetSystemDirectoryW(buffer, MAX_PATH));
}

TEST(SystemTest, VariablesAreReadInTheirLength) {
    const TCHAR* const name = _T("NorvConformance");
    TCHAR buffer[8] = {};
    const auto read = [&](DWORD size) {
        SetLastError(0);
        return GetEnvironmentVariableW(_T("norvCONFORMANCE"), buffer, size);
    };
    setVariable(name, _T("value"));
    const struct {
        DWORD size;
        DWORD result;
    } kCases[] = {{0, 6}, {1, 6}, {5, 6}, {6, 5}, {8, 5}};
    for (const auto& one : kCases) {
        EXPECT_EQ(read(one.size), one.result) << one.size;
    }
    EXPECT_EQ(tstring(buffer), _T("value"));
    setVariable(name, _T(""));
    EXPECT_NE(lastErrorOf(read(8) == 0), DWORD{ERROR_ENVVAR_NOT_FOUND});
    setVariable(name, nullptr);
    EXPECT_EQ(lastErrorOf(read(8) == 0), DWORD{ERROR_ENVVAR_NOT_FOUND});
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
    TCHAR buffer[MAX_PATH] = {};
    const tstring old(buffer, GetEnvironmentVariableW(_T("TMP"), buffer, MAX_PATH));
    for (const TCHAR* const value :
         {_T("C:\\windows"), _T("C:\\windows\\"), _T("C:/windows/temp/..")}) {
        setVariable(_T("TMP"), value);
        EXPECT_EQ(tstring(buffer, GetTempPathW(MAX_PATH, buffer)), _T("C:\\windows\\"));
    }
    setVariable(_T("TMP"), old.empty() ? nullptr : old.c_str());
}

TEST(SystemTest, ModulesAreKnownByNameAndByAddress) {
    const DWORD flags =
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    const auto at = [&](auto address) {
        HMODULE module = nullptr;
        return GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(address), &module) ? module
                                                                                      : nullptr;
    };
    // The address of a function in another library may be that of a stub of this program's own.
    const HMODULE kernel = GetModuleHandleW(_T("kernel32"));
    EXPECT_EQ(GetModuleHandleW(_T("KERNEL32.dll")), kernel);
    const HMODULE module = at(GetProcAddress(kernel, "DeleteFileW"));
    TCHAR path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
    EXPECT_EQ(lowerCase(path).find(lowerCase(systemDirectory())), 0u);
    TCHAR buffer[MAX_PATH];
    EXPECT_EQ(GetModuleFileNameW(module, buffer, length + 1), length);
    EXPECT_EQ(GetModuleFileNameW(module, buffer, length), length) << "cut to the buffer";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(tstring(buffer, length - 1), tstring(path, length - 1));
    const HMODULE own = at(&lowerCase);
    EXPECT_TRUE(own != nullptr && own != module);
    int local = 0;
    EXPECT_EQ(lastErrorOf(at(&local) == nullptr), DWORD{ERROR_MOD_NOT_FOUND});
    EXPECT_EQ(lastErrorOf(GetModuleHandleW(_T("norv-no-such.dll")) == nullptr),
              DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(SystemTest, LibrariesAreLoadedFromTheSystemDirectory) {
    const tstring path = systemDirectory() + _T("\\advapi32");
    const HMODULE library = LoadLibraryW(path.c_str());
    ASSERT_NE(library, nullptr);
    EXPECT_NE(GetProcAddress(library, "RegDeleteTreeW"), nullptr);
    EXPECT_EQ(lastErrorOf(GetProcAddress(library, "NorvNoSuchFunction") == nullptr),
              DWORD{ERROR_PROC_NOT_FOUND});
    HMODULE again = nullptr;
    EXPECT_TRUE(GetModuleHandleExW(0, path.c_str(), &again));
    EXPECT_EQ(again, library);
    EXPECT_TRUE(FreeLibrary(again));
    EXPECT_TRUE(FreeLibrary(library));
    EXPECT_EQ(lastErrorOf(LoadLibraryW((path + _T("none")).c_str()) == nullptr),
              DWORD{ERROR_MOD_NOT_FOUND});
}

/// A function of a library by its name and type.
template <class Function>
Function function(const TCHAR* library, const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(library), name)));
}

TEST(SystemTest, TheSystemTellsItsBitsAndVersion) {
    const auto isWow64 = function<BOOL(WINAPI*)(HANDLE, PBOOL)>(_T("kernel32"), "IsWow64Process");
    BOOL wow64 = 7;
    EXPECT_TRUE(isWow64(GetCurrentProcess(), &wow64));
    EXPECT_EQ(wow64 != FALSE, isWindows64Bit() && !isProgram64Bit());
    EXPECT_EQ(lastErrorOf(!isWow64(nullptr, &wow64)), DWORD{ERROR_INVALID_HANDLE});
    SYSTEM_INFO info = {};
    GetNativeSystemInfo(&info);
    EXPECT_EQ(info.wProcessorArchitecture,
              isWindows64Bit() ? PROCESSOR_ARCHITECTURE_AMD64 : PROCESSOR_ARCHITECTURE_INTEL);
    OSVERSIONINFOEXW record = {};
    static_assert(sizeof(record) == 284);
    auto* const head = reinterpret_cast<OSVERSIONINFOW*>(&record);
    EXPECT_FALSE(GetVersionExW(head)) << "a record of no size";
    record.dwOSVersionInfoSize = sizeof(record);
    EXPECT_TRUE(GetVersionExW(head));
    EXPECT_EQ(std::exchange(record.dwPlatformId, 0), DWORD{VER_PLATFORM_WIN32_NT});
    EXPECT_EQ(function<LONG(WINAPI*)(OSVERSIONINFOEXW*)>(_T("ntdll"), "RtlGetVersion")(&record), 0);
    EXPECT_GE(record.dwMajorVersion, 5u);
    EXPECT_EQ(record.dwPlatformId, DWORD{VER_PLATFORM_WIN32_NT});
}

TEST(SystemTest, TheInstallersTextsAreReadAsData) {
    const HMODULE module = LoadLibraryExW((systemDirectory() + _T("\\msimsg.dll")).c_str(), nullptr,
                                          LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    const DWORD status =
        lastErrorOf(FindResourceW(module, MAKEINTRESOURCEW(0xFFF0), RT_STRING) == nullptr);
    EXPECT_TRUE(status == ERROR_RESOURCE_NAME_NOT_FOUND || status == ERROR_RESOURCE_TYPE_NOT_FOUND);
    EXPECT_EQ(
        lastErrorOf(FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(0x77)) == nullptr),
        DWORD{ERROR_RESOURCE_TYPE_NOT_FOUND});
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
}

TEST(SystemTest, AVersionIsReadAsItsFileMayBe) {
    const tstring path = systemDirectory() + _T("\\kernel32.dll");
    DWORD zeroed = 7;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &zeroed);
    EXPECT_EQ(zeroed, 0u);
    std::vector<BYTE> block(size);
    ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, size, block.data()));
    void* value = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), _T("\\"), &value, &length));
    EXPECT_EQ(length, sizeof(VS_FIXEDFILEINFO));
    EXPECT_EQ(static_cast<VS_FIXEDFILEINFO*>(value)->dwSignature, 0xFEEF04BDu);
    TCHAR temp[MAX_PATH];
    const tstring copy = tstring(temp, GetTempPathW(MAX_PATH, temp)) + _T("NorvVersion.dll");
    EXPECT_EQ(lastErrorOf(GetFileVersionInfoSizeW(copy.c_str(), &zeroed) == 0),
              DWORD{ERROR_FILE_NOT_FOUND});
    ASSERT_TRUE(CopyFileW(path.c_str(), copy.c_str(), FALSE));
    const HANDLE held = CreateFileW(copy.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_EQ(lastErrorOf(!GetFileVersionInfoW(copy.c_str(), 0, size, block.data())),
              DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_TRUE(CloseHandle(held));
    EXPECT_TRUE(DeleteFileW(copy.c_str()));
}

TEST(SystemTest, A32BitProgramReachesTheRealSystemDirectoryAsSysnative) {
    const tstring native = systemDirectory().substr(0, 11) + _T("Sysnative");
    EXPECT_EQ(GetFileAttributesW(native.c_str()) != INVALID_FILE_ATTRIBUTES,
              isWindows64Bit() && !isProgram64Bit());
}

TEST(SystemTest, MessagesEndInALineBreak) {
    const DWORD flags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    const HMODULE module = GetModuleHandleW(_T("advapi32.dll"));
    LPWSTR text = nullptr;
    const auto format = [&](DWORD from, DWORD status) {
        return FormatMessageW(flags | from, module, status, 0, reinterpret_cast<LPWSTR>(&text), 0,
                              nullptr);
    };
    for (const DWORD from : {DWORD{0}, DWORD{FORMAT_MESSAGE_FROM_HMODULE}}) {
        for (const DWORD status : {2, 5, 87, 1018}) {
            const DWORD length = format(from, status);
            ASSERT_GT(length, 3u) << status;
            EXPECT_EQ(tstring(text).find(_T(".\r\n")), length - 3);
            EXPECT_EQ(LocalFree(text), nullptr);
        }
    }
    EXPECT_EQ(lastErrorOf(format(0, 0x2FFF1234) == 0), DWORD{ERROR_MR_MID_NOT_FOUND});
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
    EXPECT_EQ(lastErrorOf(!GetThreadPreferredUILanguages(flags, &count, &list[0], &less)),
              DWORD{ERROR_INSUFFICIENT_BUFFER});
    ASSERT_TRUE(GetThreadPreferredUILanguages(flags, &count, &list[0], &size));
    for (ULONG i = 0; i < count; ++i) {
        EXPECT_EQ(list.find_first_not_of(_T("0123456789ABCDEF"), i * 5), i * 5 + 4);
        EXPECT_EQ(list[i * 5 + 4], _T('\0'));
    }
    EXPECT_EQ(list.substr(0, 4) + list.substr(count * 5), tstring(_T("0409\0"), 5));
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
    // A failure is 0 by Microsoft's "MessageBoxW function", and -1 of Wine.
    EXPECT_EQ(MessageBoxW(nullptr, _T("text"), _T("caption"), MB_OK | MB_TASKMODAL),
              isWine() ? -1 : 0);
    DWORD_PTR result = 7;
    EXPECT_NE(SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                                  reinterpret_cast<LPARAM>(_T("Environment")), SMTO_ABORTIFHUNG,
                                  1000, &result),
              0);
}

}  // namespace
