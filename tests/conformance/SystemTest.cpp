// The system and the process: variables, directories, modules, texts, versions, accounts, shared
// memory.
#include <windows.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "Setting.h"

namespace {

DWORD lastErrorOf(bool failed) {
    const DWORD status = GetLastError();
    EXPECT_TRUE(failed);
    return status;
}

tstring systemDirectory() {
    TCHAR buffer[MAX_PATH];
    return tstring(buffer, GetSystemDirectoryW(buffer, MAX_PATH));
}

TEST(SystemTest, AVariableIsReadIntoABufferOfItsLength) {
    TCHAR buffer[8] = {};
    const auto read = [&](DWORD size) {
        SetLastError(4711);
        return GetEnvironmentVariableW(_T("norvCONFORMANCE"), buffer, size);
    };
    setVariable(_T("NorvConformance"), _T("value"));
    for (const DWORD size : {0, 5, 6, 8}) {
        EXPECT_EQ(read(size), size < 6 ? 6u : 5u) << size;
    }
    EXPECT_EQ(tstring(buffer), _T("value"));
    setVariable(_T("NorvConformance"), _T(""));
    EXPECT_EQ(lastErrorOf(read(8) == 0), 4711u);
    setVariable(_T("NorvConformance"), nullptr);
    EXPECT_EQ(lastErrorOf(read(8) == 0), DWORD{ERROR_ENVVAR_NOT_FOUND});
}

TEST(SystemTest, DirectoriesReturnTheSizeThatTheyNeed) {
    const std::function<UINT(LPWSTR, UINT)> kCalls[] = {
        GetSystemDirectoryW, GetWindowsDirectoryW,
        [](LPWSTR buffer, UINT size) { return UINT{GetTempPathW(size, buffer)}; },
        isWindows64Bit() ? GetSystemWow64DirectoryW : GetSystemDirectoryW};
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
        EXPECT_EQ(lastErrorOf(GetSystemWow64DirectoryW(nullptr, 0) == 0),
                  DWORD{ERROR_CALL_NOT_IMPLEMENTED});
    }
    const tstring native = systemDirectory().substr(0, 11) + _T("Sysnative");
    EXPECT_EQ(GetFileAttributesW(native.c_str()) != INVALID_FILE_ATTRIBUTES,
              isWindows64Bit() != isProgram64Bit());
    const tstring old = temporaryPath(_T(""));
    for (const TCHAR* const value : {_T("C:\\windows"), _T("C:/windows/temp/..\\")}) {
        setVariable(_T("TMP"), value);
        EXPECT_EQ(temporaryPath(_T("")), _T("C:\\windows\\"));
    }
    setVariable(_T("TMP"), old.c_str());
}

TEST(SystemTest, TheTemporaryDirectoryComesInAClearedBuffer) {
    const auto length = static_cast<DWORD>(temporaryPath(_T("")).size());
    tstring fits(length + 3, _T('#'));
    EXPECT_EQ(GetTempPathW(length + 2, fits.data()), length);
    EXPECT_EQ(fits.substr(length), tstring(_T("\0\0#"), 3));
    tstring small(length + 1, _T('#'));
    EXPECT_EQ(GetTempPathW(length, small.data()), length + 1);
    EXPECT_EQ(small, tstring(length, _T('\0')) + _T('#'));
}

HMODULE moduleNamed(const tstring& name) {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, name.c_str(), &module);
    return module;
}

TEST(SystemTest, ModulesAreFoundByNameAndByAddress) {
    const auto at = [&](auto address) {
        const DWORD flags =
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
        HMODULE module = nullptr;
        const BOOL found = GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(address), &module);
        return found ? module : nullptr;
    };
    // The address of a function in another library may be that of a stub of this program's own.
    const HMODULE module = at(GetProcAddress(moduleNamed(_T("KERNEL32.dll")), "DeleteFileW"));
    TCHAR path[MAX_PATH];
    TCHAR buffer[MAX_PATH];
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
    EXPECT_EQ(moduleNamed(path), module);
    EXPECT_EQ(GetModuleFileNameW(module, buffer, length + 1), length);
    EXPECT_EQ(GetModuleFileNameW(module, buffer, length), length) << "cut to the buffer";
    EXPECT_EQ(tstring(buffer, length - 1), tstring(path, length - 1));
    const HMODULE own = at(&lastErrorOf);
    EXPECT_NE(own, nullptr);
    EXPECT_NE(own, module);
    int local = 0;
    EXPECT_EQ(lastErrorOf(at(&local) == nullptr), DWORD{ERROR_MOD_NOT_FOUND});

    const tstring library = systemDirectory() + _T("\\advapi32");
    const HMODULE loaded = LoadLibraryW(library.c_str());
    EXPECT_NE(GetProcAddress(loaded, "RegDeleteTreeW"), nullptr);
    EXPECT_EQ(lastErrorOf(GetProcAddress(loaded, "NorvNoSuchFunction") == nullptr),
              DWORD{ERROR_PROC_NOT_FOUND});
    EXPECT_EQ(moduleNamed(library), loaded);
    EXPECT_TRUE(FreeLibrary(loaded));
}

TEST(SystemTest, ModuleHandlesRefuseUnknownFlags) {
    constexpr DWORD kUnknown = 8;
    HMODULE module = moduleNamed(_T("kernel32"));
    EXPECT_EQ(lastErrorOf(!GetModuleHandleExW(kUnknown, _T("kernel32"), &module)),
              DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(lastErrorOf(!GetModuleHandleExW(0, _T("kernel32"), nullptr)),
              DWORD{ERROR_INVALID_PARAMETER});
}

TEST(SystemTest, TheSystemReturnsItsBitnessAndVersion) {
    BOOL wow64 = 7;
    EXPECT_TRUE(IsWow64Process(GetCurrentProcess(), &wow64));
    EXPECT_EQ(wow64 != FALSE, isWindows64Bit() != isProgram64Bit());
    SYSTEM_INFO info = {};
    GetNativeSystemInfo(&info);
    EXPECT_EQ(info.wProcessorArchitecture,
              isWindows64Bit() ? PROCESSOR_ARCHITECTURE_AMD64 : PROCESSOR_ARCHITECTURE_INTEL);
    OSVERSIONINFOEXW record = {};
    OSVERSIONINFOEXW other = {};
    static_assert(sizeof(record) == 284);
    auto* const head = reinterpret_cast<OSVERSIONINFOW*>(&record);
    record.dwOSVersionInfoSize = other.dwOSVersionInfoSize = sizeof(record);
    EXPECT_TRUE(GetVersionExW(head));
    const auto getVersion = reinterpret_cast<LONG(WINAPI*)(OSVERSIONINFOEXW*)>(
        reinterpret_cast<void*>(GetProcAddress(moduleNamed(_T("ntdll")), "RtlGetVersion")));
    EXPECT_EQ(getVersion(&other), 0);
    EXPECT_GE(other.dwMajorVersion, 5u);
    EXPECT_EQ(record.dwPlatformId, other.dwPlatformId);
}

TEST(SystemTest, TheInstallersStringsAreReadAsData) {
    const HMODULE module = LoadLibraryExW((systemDirectory() + _T("\\msimsg.dll")).c_str(), nullptr,
                                          LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(
        lastErrorOf(FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(0x77)) == nullptr),
        DWORD{ERROR_RESOURCE_TYPE_NOT_FOUND});
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
}

TEST(SystemTest, TheVersionOfAFileIsRead) {
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
    EXPECT_EQ(lastErrorOf(GetFileVersionInfoSizeW((path + _T("none")).c_str(), &zeroed) == 0),
              DWORD{ERROR_FILE_NOT_FOUND});
}

TEST(SystemTest, ATextFileHasNoVersion) {
    const tstring path = temporaryPath(_T("conformance.txt"));
    EXPECT_TRUE(CloseHandle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr)));
    EXPECT_EQ(lastErrorOf(GetFileVersionInfoSizeW(path.c_str(), nullptr) == 0),
              DWORD{ERROR_RESOURCE_DATA_NOT_FOUND});
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST(SystemTest, MessagesEndInALineBreak) {
    const DWORD flags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
    const HMODULE module = moduleNamed(_T("advapi32.dll"));
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

TEST(SystemTest, PreferredLanguagesAreAListOfStrings) {
    const DWORD flags = MUI_LANGUAGE_ID | MUI_MERGE_SYSTEM_FALLBACK | MUI_MERGE_USER_FALLBACK;
    ULONG count = 0;
    ULONG size = 0;
    ASSERT_TRUE(GetThreadPreferredUILanguages(flags, &count, nullptr, &size));
    EXPECT_EQ(size, count * 5 + 1);
    tstring list(size, _T('#'));
    ASSERT_TRUE(GetThreadPreferredUILanguages(flags, &count, list.data(), &size));
    EXPECT_EQ(list.substr(0, 5), tstring(_T("0409\0"), 5));
    EXPECT_EQ(list.substr(count * 5 - 1), tstring(_T("\0\0"), 2));
    EXPECT_EQ(GetThreadLocale(), 0x0409u);
    EXPECT_EQ(GetUserDefaultUILanguage(), 0x0409);
    EXPECT_EQ(GetSystemDefaultUILanguage(), 0x0409);
}

TEST(SystemTest, ClockIdsAndLocksOfTheProcessWork) {
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
    LeaveCriticalSection(&section);
    DeleteCriticalSection(&section);
}

TEST(SystemTest, WithoutADisplayABoxFailsAndABroadcastSucceeds) {
    // A failure is 0 by Microsoft's "MessageBoxW function", and -1 of Wine.
    EXPECT_EQ(MessageBoxW(nullptr, _T("text"), _T("caption"), MB_OK | MB_TASKMODAL),
              isWine() ? -1 : 0);
    DWORD_PTR result = 7;
    EXPECT_NE(SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                                  reinterpret_cast<LPARAM>(_T("Environment")), SMTO_ABORTIFHUNG,
                                  1000, &result),
              0);
}

/// The text of an identifier.
tstring textOf(PSID sid) {
    LPWSTR text = nullptr;
    EXPECT_TRUE(ConvertSidToStringSidW(sid, &text));
    const tstring result = text;
    EXPECT_EQ(LocalFree(text), nullptr);
    return result;
}

TEST(SystemTest, IdentifiersAreCopiedAndCompared) {
    for (const TCHAR* const given : {_T("BA"), _T("S-1-5-32-544")}) {
        PSID sid = nullptr;
        ASSERT_TRUE(ConvertStringSidToSidW(given, &sid));
        EXPECT_EQ(textOf(sid), _T("S-1-5-32-544"));
        BYTE copy[SECURITY_MAX_SID_SIZE] = {};
        EXPECT_FALSE(CopySid(15, copy, sid));
        EXPECT_TRUE(CopySid(16, copy, sid));
        EXPECT_TRUE(EqualSid(copy, sid));
        copy[15] ^= 1;
        EXPECT_FALSE(EqualSid(copy, sid));
        EXPECT_EQ(LocalFree(sid), nullptr);
    }
}

TEST(SystemTest, IdentifiersAreReadInEveryNotation) {
    const std::pair<const TCHAR*, const TCHAR*> kCases[] = {
        {_T("wD"), _T("S-1-1-0")},
        {_T("CO"), _T("S-1-3-0")},
        {_T("CG"), _T("S-1-3-1")},
        {_T("OW"), _T("S-1-3-4")},
        {_T("NU"), _T("S-1-5-2")},
        {_T("IU"), _T("S-1-5-4")},
        {_T("SU"), _T("S-1-5-6")},
        {_T("AN"), _T("S-1-5-7")},
        {_T("ED"), _T("S-1-5-9")},
        {_T("PS"), _T("S-1-5-10")},
        {_T("RC"), _T("S-1-5-12")},
        {_T("LS"), _T("S-1-5-19")},
        {_T("NS"), _T("S-1-5-20")},
        {_T("BG"), _T("S-1-5-32-546")},
        {_T("PU"), _T("S-1-5-32-547")},
        {_T("AO"), _T("S-1-5-32-548")},
        {_T("SO"), _T("S-1-5-32-549")},
        {_T("PO"), _T("S-1-5-32-550")},
        {_T("BO"), _T("S-1-5-32-551")},
        {_T("RE"), _T("S-1-5-32-552")},
        {_T("RU"), _T("S-1-5-32-554")},
        {_T("RD"), _T("S-1-5-32-555")},
        {_T("NO"), _T("S-1-5-32-556")},
        {_T("s-1-12-1"), _T("S-1-12-1")},
        {_T("S-1-258-1"), _T("S-1-258-1")},
        {_T("S-1-860116326-1"), _T("S-1-860116326-1")},
        {_T("S-0x1-0XC-0x1a"), _T("S-1-12-26")}};
    for (const auto& [text, identifier] : kCases) {
        SCOPED_TRACE(testing::PrintToString(tstring(text)));
        PSID sid = nullptr;
        ASSERT_TRUE(ConvertStringSidToSidW(text, &sid));
        EXPECT_EQ(textOf(sid), identifier);
        EXPECT_EQ(LocalFree(sid), nullptr);
    }
}

TEST(SystemTest, MalformedIdentifiersAreRefused) {
    for (const TCHAR* const text : {_T("ZZ"), _T("WD)"), _T("WDandmore"), _T("S-1-5"), _T("S-1-5-"),
                                    _T("S-2-5-1"), _T("S-1-5-x"), _T("")}) {
        PSID sid = nullptr;
        EXPECT_EQ(lastErrorOf(!ConvertStringSidToSidW(text, &sid)), DWORD{ERROR_INVALID_SID})
            << testing::PrintToString(tstring(text));
    }
}

TEST(SystemTest, ATokenReturnsItsUserAndGroups) {
    HANDLE token = nullptr;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
    DWORD size = 0;
    for (const TOKEN_INFORMATION_CLASS wanted : {TokenUser, TokenGroups}) {
        EXPECT_FALSE(GetTokenInformation(token, wanted, nullptr, 0, &size));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
        std::vector<BYTE> buffer(size);
        ASSERT_TRUE(GetTokenInformation(token, wanted, buffer.data(), size, &size));
        EXPECT_EQ(size, buffer.size());
        const auto* const user = reinterpret_cast<const TOKEN_USER*>(buffer.data());
        const auto* const groups = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
        const PSID sid = wanted == TokenUser ? user->User.Sid : groups->Groups[0].Sid;
        EXPECT_EQ(textOf(sid).substr(0, 4), _T("S-1-"));
    }
    TOKEN_ELEVATION elevation = {};
    EXPECT_TRUE(GetTokenInformation(token, TokenElevation, &elevation, sizeof(elevation), &size));
    EXPECT_EQ(size, 4u);
    EXPECT_TRUE(CloseHandle(token));
}

HANDLE createBlock() {
    return CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8, "NorvBlock");
}

HANDLE openBlock() {
    return OpenFileMappingA(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, "NorvBlock");
}

BYTE* view(HANDLE block) {
    return static_cast<BYTE*>(MapViewOfFile(block, FILE_MAP_ALL_ACCESS, 0, 0, 8));
}

TEST(SharedMemoryTest, ABlockExistsUntilItsLastHandleAndViewAreClosed) {
    EXPECT_EQ(lastErrorOf(openBlock() == nullptr), DWORD{ERROR_FILE_NOT_FOUND});
    const HANDLE created = createBlock();
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SUCCESS});
    const HANDLE opened = openBlock();
    const HANDLE again = createBlock();
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});

    BYTE* const first = view(created);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(std::memcmp(first, "\0\0\0\0\0\0\0\0", 8), 0);
    std::memcpy(first, "abcdefgh", 8);
    EXPECT_TRUE(FlushViewOfFile(first, 8));
    EXPECT_TRUE(UnmapViewOfFile(first));
    BYTE* const second = view(opened);
    ASSERT_NE(second, nullptr);
    for (const HANDLE handle : {created, opened, again}) {
        EXPECT_TRUE(CloseHandle(handle));
    }
    EXPECT_EQ(lastErrorOf(view(created) == nullptr), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(std::memcmp(second, "abcdefgh", 8), 0) << "a view keeps the block";
    EXPECT_TRUE(UnmapViewOfFile(second));
    EXPECT_EQ(lastErrorOf(!UnmapViewOfFile(second)), DWORD{ERROR_INVALID_ADDRESS});
    EXPECT_EQ(openBlock(), nullptr);
}

}  // namespace
