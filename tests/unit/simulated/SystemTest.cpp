#include <windows.h>
#include <sddl.h>

#include <algorithm>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"

using namespace simulated;

namespace {

/// A function of this program, which stands for the library's code.
void openNothing() {}

class SimulatedSystem : public testing::Test {
protected:
    Machine machine;
    Running running{machine};
};

TEST_F(SimulatedSystem, EachWindowsTellsWhatItIs) {
    const struct {
        bool system64;
        bool process64;
        WORD architecture;
        BOOL wow64;
        UINT wow64Directory;
    } kCases[] = {{true, true, PROCESSOR_ARCHITECTURE_AMD64, FALSE, 19},
                  {true, false, PROCESSOR_ARCHITECTURE_AMD64, TRUE, 19},
                  {false, false, PROCESSOR_ARCHITECTURE_INTEL, FALSE, 0}};
    for (const auto& one : kCases) {
        machine.facts.is64BitSystem = one.system64;
        machine.facts.is64BitProcess = one.process64;
        SYSTEM_INFO info = {};
        GetNativeSystemInfo(&info);
        EXPECT_EQ(info.wProcessorArchitecture, one.architecture);
        BOOL wow64 = 7;
        EXPECT_TRUE(IsWow64Process(GetCurrentProcess(), &wow64));
        EXPECT_EQ(wow64, one.wow64);
        char16_t buffer[MAX_PATH];
        EXPECT_EQ(GetSystemWow64DirectoryW(buffer, MAX_PATH), one.wow64Directory);
    }
    EXPECT_EQ(GetLastError(), DWORD{ERROR_CALL_NOT_IMPLEMENTED});
}

TEST_F(SimulatedSystem, AnOlderWindowsLacksFunctions) {
    machine.facts.version = {5, 1, 2600, 3, u"Service Pack 3", VER_NT_WORKSTATION};
    machine.modules.hideFunction(u"ntdll", "RtlGetVersion");
    EXPECT_EQ(GetProcAddress(GetModuleHandleW(u"ntdll"), "RtlGetVersion"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PROC_NOT_FOUND});
    OSVERSIONINFOEXW version = {};
    auto* const record = reinterpret_cast<LPOSVERSIONINFOW>(&version);
    EXPECT_FALSE(GetVersionExW(record));
    version.dwOSVersionInfoSize = sizeof(version);
    EXPECT_TRUE(GetVersionExW(record));
    EXPECT_EQ(version.dwMajorVersion, 5u);
    EXPECT_EQ(version.dwMinorVersion, 1u);
    EXPECT_EQ(version.wServicePackMajor, 3);
    EXPECT_EQ(std::u16string(version.szCSDVersion), u"Service Pack 3");
    HANDLE token = nullptr;
    TOKEN_ELEVATION elevation = {};
    DWORD needed = 0;
    ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
    EXPECT_FALSE(GetTokenInformation(token, TokenElevation, &elevation, 4, &needed));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    CloseHandle(token);
    machine.modules.hideModule(u"ntdll.dll");
    EXPECT_EQ(GetModuleHandleW(u"ntdll"), nullptr);
    EXPECT_EQ(LoadLibraryW(u"C:\\Windows\\System32\\ntdll"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST_F(SimulatedSystem, AnAddressLeadsToItsModule) {
    const struct {
        const void* address;
        const char16_t* path;
    } kCases[] = {
        {reinterpret_cast<const void*>(&DeleteFileW), u"C:\\Windows\\System32\\kernel32.dll"},
        {reinterpret_cast<const void*>(&CopyFileW), u"C:\\Windows\\System32\\kernel32.dll"},
        {reinterpret_cast<const void*>(&RegOpenKeyExW), u"C:\\Windows\\System32\\advapi32.dll"},
        {reinterpret_cast<const void*>(&CopySid), u"C:\\Windows\\System32\\advapi32.dll"},
        {reinterpret_cast<const void*>(&MessageBoxW), u"C:\\Windows\\System32\\user32.dll"},
        {reinterpret_cast<const void*>(&openNothing), u"C:\\Windows\\Installer\\norvca.dll"},
    };
    for (const auto& one : kCases) {
        HMODULE module = nullptr;
        ASSERT_TRUE(GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            static_cast<LPCWSTR>(one.address), &module));
        char16_t buffer[MAX_PATH];
        GetModuleFileNameW(module, buffer, MAX_PATH);
        EXPECT_EQ(std::u16string(buffer), one.path);
    }
    char16_t buffer[MAX_PATH];
    GetModuleFileNameW(nullptr, buffer, MAX_PATH);
    EXPECT_EQ(std::u16string(buffer), u"C:\\Windows\\System32\\msiexec.exe");
}

TEST_F(SimulatedSystem, ALoadedLibraryIsReportedUntilItIsFreed) {
    const std::u16string path = u"C:\\Windows\\System32\\msimsg.dll";
    EXPECT_EQ(GetModuleHandleW(u"msimsg.dll"), nullptr);
    const HMODULE code = LoadLibraryW(path.c_str());
    const HMODULE data = LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    EXPECT_NE(code, data);
    EXPECT_EQ(GetModuleHandleW(u"msimsg.dll"), code);
    EXPECT_EQ(machine.handles.open(),
              (std::vector<std::string>(2, "module C:\\Windows\\System32\\msimsg.dll")));
    EXPECT_TRUE(FreeLibrary(data));
    EXPECT_FALSE(FreeLibrary(data));
    EXPECT_TRUE(FreeLibrary(code));
    EXPECT_EQ(GetModuleHandleW(u"msimsg.dll"), nullptr);
    EXPECT_FALSE(FreeLibrary(GetModuleHandleW(u"kernel32")));
    EXPECT_TRUE(machine.handles.open().empty());
    EXPECT_EQ(LoadLibraryW(u"C:\\Other\\msimsg.dll"), nullptr);
}

TEST_F(SimulatedSystem, StringsStandInBlocksOfSixteen) {
    machine.modules.setString(u"msimsg.dll", 1234, u"found");
    machine.modules.setString(u"msimsg.dll", 1247, u"last");
    const HMODULE module =
        LoadLibraryExW(u"C:\\Windows\\System32\\msimsg.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE);
    const HRSRC block = FindResourceW(module, MAKEINTRESOURCEW(78), RT_STRING);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(SizeofResource(module, block), (16 + 9) * sizeof(char16_t));
    const auto* const units =
        static_cast<const char16_t*>(LockResource(LoadResource(module, block)));
    EXPECT_EQ(std::u16string(units, 25),
              std::u16string(u"\0\0\5found\0\0\0\0\0\0\0\0\0\0\0\0\4last", 25));
    EXPECT_EQ(FindResourceW(module, MAKEINTRESOURCEW(77), RT_STRING), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_NAME_NOT_FOUND});
    EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(78), RT_STRING), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_DATA_NOT_FOUND});
    FreeLibrary(module);
}

TEST_F(SimulatedSystem, AModulesOwnMessageGoesBeforeTheSystems) {
    machine.modules.setMessage(u"advapi32", 5, u"Its own.\r\n");
    char16_t buffer[100];
    const DWORD flags = FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_HMODULE;
    EXPECT_EQ(FormatMessageW(flags, GetModuleHandleW(u"advapi32"), 5, 0, buffer, 100, nullptr),
              10u);
    EXPECT_EQ(std::u16string(buffer), u"Its own.\r\n");
    EXPECT_EQ(FormatMessageW(flags, GetModuleHandleW(u"kernel32"), 5, 0, buffer, 100, nullptr), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_TYPE_NOT_FOUND});
}

TEST_F(SimulatedSystem, TheListOfLanguagesIsTheFacts) {
    machine.facts.uiLanguages = {u"0411", u"04G9"};
    const auto ask = [](PULONG count, PWSTR buffer, PULONG size) {
        return GetThreadPreferredUILanguages(
            MUI_LANGUAGE_ID | MUI_MERGE_SYSTEM_FALLBACK | MUI_MERGE_USER_FALLBACK, count, buffer,
            size);
    };
    ULONG count = 0;
    ULONG size = 0;
    EXPECT_TRUE(ask(&count, nullptr, &size));
    std::u16string list(size, u'#');
    EXPECT_TRUE(ask(&count, list.data(), &size));
    EXPECT_EQ(list, std::u16string(u"0411\00004G9\0\0", 11));
    machine.facts.uiLanguages.clear();
    size = 0;
    EXPECT_TRUE(ask(&count, nullptr, &size));
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(size, 2u);
}

TEST_F(SimulatedSystem, TimeStandsUntilItIsMoved) {
    machine.facts.clock.set({2023, 12, 0, 31, 23, 59, 59, 990});
    machine.facts.clock.setTicks(0xFFFFFFFF);
    Sleep(20);
    SYSTEMTIME time = {};
    GetLocalTime(&time);
    EXPECT_EQ(time.wYear, 2024);
    EXPECT_EQ(time.wMonth, 1);
    EXPECT_EQ(time.wDay, 1);
    EXPECT_EQ(time.wDayOfWeek, 1);
    EXPECT_EQ(time.wHour, 0);
    EXPECT_EQ(time.wMilliseconds, 10);
    EXPECT_EQ(GetTickCount(), 19u);
    machine.calls.stopAtCall(1);
    Sleep(1000);
    EXPECT_EQ(machine.facts.clock.ticks(), 0xFFFFFFFFull + 20);
    for (const auto& [year, month, day] :
         {std::tuple(1601, 1, 1), std::tuple(2000, 2, 29), std::tuple(2100, 3, 1)}) {
        const auto narrow = [](int number) { return static_cast<WORD>(number); };
        machine.facts.clock.set({narrow(year), narrow(month), 0, narrow(day), 0, 0, 0, 0});
        const SYSTEMTIME back = machine.facts.clock.localTime();
        EXPECT_EQ(std::tuple(back.wYear, back.wMonth, back.wDay), std::tuple(year, month, day));
    }
    EXPECT_EQ(machine.facts.clock.localTime().wDayOfWeek, 1);
}

TEST_F(SimulatedSystem, AProcessChangesItsOwnEnvironment) {
    machine.facts.environment[u"Given"] = u"machine";
    char16_t buffer[20] = {};
    EXPECT_TRUE(SetEnvironmentVariableW(u"GIVEN", u"process"));
    GetEnvironmentVariableW(u"given", buffer, 20);
    EXPECT_EQ(std::u16string(buffer), u"process");
    EXPECT_TRUE(SetEnvironmentVariableW(u"TMP", nullptr));
    EXPECT_TRUE(SetEnvironmentVariableW(u"TEMP", nullptr));
    EXPECT_EQ(GetTempPathW(20, buffer), 14u);
    EXPECT_EQ(std::u16string(buffer), u"C:\\Users\\User\\");
    machine.endProcess();
    GetEnvironmentVariableW(u"Given", buffer, 20);
    EXPECT_EQ(std::u16string(buffer), u"machine");
}

TEST_F(SimulatedSystem, TheTokenIsTheTestsToChoose) {
    const auto hasGroup = [](const char16_t* wanted) {
        HANDLE token = nullptr;
        PSID sid = nullptr;
        DWORD size = 0;
        OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
        ConvertStringSidToSidW(wanted, &sid);
        GetTokenInformation(token, TokenGroups, nullptr, 0, &size);
        std::vector<BYTE> buffer(size);
        GetTokenInformation(token, TokenGroups, buffer.data(), size, &size);
        const auto* const groups = reinterpret_cast<PTOKEN_GROUPS>(buffer.data());
        bool found = false;
        for (DWORD i = 0; i < groups->GroupCount; ++i) {
            found = found || EqualSid(groups->Groups[i].Sid, sid);
        }
        LocalFree(sid);
        CloseHandle(token);
        return found;
    };
    EXPECT_TRUE(hasGroup(u"BA"));
    machine.security.becomeFilteredAdministrator();
    EXPECT_TRUE(hasGroup(u"BA"));
    machine.security.becomeOrdinaryUser();
    EXPECT_FALSE(hasGroup(u"BA"));
    EXPECT_TRUE(hasGroup(u"BU"));
    EXPECT_TRUE(machine.handles.open().empty());
}

TEST_F(SimulatedSystem, DescriptorsAreToldAsTheirText) {
    for (const std::string text :
         {"D:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)",
          "D:PAI(A;OICI;FA;;;SY)(D;NPIO;FRFX;;;S-1-5-21-1-2-3)", "D:NO_ACCESS_CONTROL", "D:"}) {
        const ParsedDescriptor parsed = parseDescriptor(fromUtf8(text));
        EXPECT_EQ(parsed.status, DWORD{ERROR_SUCCESS}) << text;
        EXPECT_EQ(describeDescriptor(parsed.descriptor), text);
    }
    EXPECT_EQ(parseDescriptor(u"O:BAG:S-1-5-18D:").status, DWORD{ERROR_SUCCESS});
    EXPECT_EQ(parseDescriptor(u"x").status, DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(parseDescriptor(u"D:(A;;FA;;;)").status, DWORD{ERROR_INVALID_SID});
    EXPECT_EQ(parseDescriptor(u"D:(A;;FA;;;SY").status, DWORD{ERROR_INVALID_ACL});
}

TEST_F(SimulatedSystem, ASharedBlockLivesWithItsHolders) {
    const std::string name = "Block";
    std::vector<std::uint8_t> seen;
    machine.sharedMemory.observeFlushes(
        [&](const std::string&, const std::vector<std::uint8_t>& bytes) { seen = bytes; });
    machine.sharedMemory.holdByOther(name);
    const HANDLE mapping = OpenFileMappingA(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, name.c_str());
    ASSERT_NE(mapping, nullptr);
    auto* const view = static_cast<BYTE*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 8));
    ASSERT_NE(view, nullptr);
    view[0] = 6;
    FlushViewOfFile(view, 8);
    EXPECT_EQ(seen, (std::vector<std::uint8_t>{6, 0, 0, 0, 0, 0, 0, 0}));
    machine.sharedMemory.write(name, {7});
    EXPECT_EQ(view[0], 7);
    EXPECT_EQ(machine.handles.open().size(), 2u);
    machine.endProcess();
    EXPECT_TRUE(machine.sharedMemory.content(name).has_value());
    machine.sharedMemory.releaseByOther(name);
    EXPECT_FALSE(machine.sharedMemory.content(name).has_value());
    machine.sharedMemory.holdByOther(name);
    machine.restart();
    EXPECT_FALSE(machine.sharedMemory.content(name).has_value());
}

TEST_F(SimulatedSystem, ThreadsMeetInLocksOutsideTheGate) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    int counter = 0;
    std::vector<DWORD> ids(4);
    std::vector<std::thread> threads;
    const DWORD own = GetCurrentThreadId();
    EnterCriticalSection(&section);
    for (DWORD& id : ids) {
        threads.emplace_back([&] {
            id = GetCurrentThreadId();
            for (int i = 0; i < 100; ++i) {
                EnterCriticalSection(&section);
                EnterCriticalSection(&section);
                ++counter;
                LeaveCriticalSection(&section);
                LeaveCriticalSection(&section);
            }
        });
    }
    // While the others wait at the lock, the machine goes on serving.
    while (machine.facts.clock.ticks() < 3700000) {
        Sleep(50000);
    }
    LeaveCriticalSection(&section);
    for (std::thread& thread : threads) {
        thread.join();
    }
    DeleteCriticalSection(&section);
    EXPECT_EQ(counter, 400);
    ids.push_back(own);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(std::unique(ids.begin(), ids.end()), ids.end());
    EXPECT_EQ(own, machine.facts.threadId);
}

TEST_F(SimulatedSystem, CallsThatCannotFailGoOnBehindAFault) {
    const DWORD id = GetCurrentProcessId();
    const SYSTEMTIME before = machine.facts.clock.localTime();
    machine.calls.failAll("GetCurrentProcessId");
    machine.calls.stopAtCall(1);
    EXPECT_EQ(GetCurrentProcessId(), id);
    SYSTEMTIME time = {};
    GetLocalTime(&time);
    EXPECT_EQ(time.wMinute, before.wMinute);
    EXPECT_EQ(time.wYear, before.wYear);
    EXPECT_EQ(LocalAlloc(LPTR, 8), nullptr);
    char16_t buffer[8];
    EXPECT_EQ(GetTempPathW(8, buffer), 0u);
}

}  // namespace
