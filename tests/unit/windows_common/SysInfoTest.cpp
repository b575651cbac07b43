#include "windows/common/SysInfo.h"

#include <shlobj.h>

#include <stdexcept>

#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"
#include "support/LibraryProcess.h"
#include "support/OnMachine.h"
#include "windows/common/Dll.h"

namespace {

using SysInfo::OsVersion;
using Lines = std::vector<std::string>;
using SysInfoTest = OnMachine;

constexpr const char* kNoMemory = "System error [8](system error 8 (There is not enough memory))";

/// A path of so many characters below C:.
std::u16string longPath(std::size_t length) {
    return u"C:\\" + std::u16string(length - 3, u'x');
}

TEST(OsVersions, AreClassified) {
    const struct {
        DWORD major;
        DWORD minor;
        OsVersion version;
    } rows[] = {
        {0, 0, OsVersion::Unknown},      {4, 9, OsVersion::Unknown},   {5, 0, OsVersion::Unknown},
        {5, 1, OsVersion::WindowsXp},    {5, 2, OsVersion::WindowsXp}, {5, 3, OsVersion::Unknown},
        {6, 0, OsVersion::WindowsVista}, {6, 1, OsVersion::Windows7},  {6, 2, OsVersion::Windows8},
        {6, 3, OsVersion::Windows81},    {6, 4, OsVersion::Later},     {7, 0, OsVersion::Later},
        {10, 0, OsVersion::Windows10},   {10, 1, OsVersion::Later},    {11, 0, OsVersion::Later},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(SysInfo::classifyOsVersion(row.major, row.minor), row.version)
            << row.major << "." << row.minor;
    }
}

/// The version is asked while the library is loaded, which nothing may stop.
TEST(OsVersions, LoadingSurvivesWhatIsNotThere) {
    const std::string rtl = "ERROR SysInfo.cpp `anonymous-namespace'::initWithRtlGetVersion: ";
    const std::string ex = "ERROR SysInfo.cpp `anonymous-namespace'::initWithGetVersionEx: ";
    const auto hide = [](const char16_t* library, const char* function) {
        return
            [=](simulated::Machine& machine) { machine.modules.hideFunction(library, function); };
    };
    const struct {
        std::vector<std::function<void(simulated::Machine&)>> faults;
        Lines log;
    } rows[] = {
        {{}, {}},
        {{hide(u"ntdll", "RtlGetVersion")}, {rtl + "RtlGetVersion is not available"}},
        {{hide(u"ntdll", "RtlGetVersion"), hide(u"kernel32", "GetVersionExW")},
         {rtl + "RtlGetVersion is not available", ex + "GetVersionExW is not available"}},
        {{[](simulated::Machine& machine) {
             machine.calls.failCall("RtlGetVersion", 1, 5);
             machine.calls.failCall("GetVersionExW", 1, 122);
         }},
         {rtl + "RtlGetVersion() failed: 5",
          ex + "GetVersionExW() failed with system error 122 (The data area passed to a system "
               "call is too small)"}},
        {{[](simulated::Machine& machine) {
             machine.calls.failCall("GetSystemDirectoryW", 1, ERROR_NOT_ENOUGH_MEMORY);
         }},
         {rtl +
          "Exception with message 'SysInfo.cpp at SysInfo::getSystemDirImpl(): "
          "GetSystemDirectory failed. " +
          kNoMemory + "' caught"}},
    };
    for (const auto& row : rows) {
        simulated::Machine machine;
        for (const auto& fault : row.faults) {
            fault(machine);
        }
        const LibraryProcess process(machine);
        Lines lines;
        for (const LogRecord& r : logRecords(machine)) {
            lines.push_back(
                withoutLines(r.level + " " + r.file + " " + r.function + ": " + r.message));
        }
        EXPECT_EQ(lines, row.log);
        EXPECT_NE(process.address("ZIP_Open"), nullptr);
    }
}

TEST_F(SysInfoTest, ProcessSeesItsSystem) {
    const struct {
        bool system64;
        bool process64;
        const TCHAR* system64Dir;  // null: none
        const TCHAR* programFiles;
    } rows[] = {
        {true, true, _T("C:\\Windows\\System32"), _T("D:\\Programs")},
        {true, false, _T("C:\\Windows\\Sysnative"), _T("D:\\Programs")},
        {false, false, nullptr, _T("C:\\Program Files")},
    };
    for (const auto& row : rows) {
        simulated::Machine other;
        if (!row.system64) {
            other.become32Bit();
        }
        other.facts.is64BitProcess = row.process64;
        other.registry.setString(simulated::View::Bits64,
                                 u"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                                 u"ProgramFilesDir", u"D:\\Programs\\/");
        const simulated::Running onOther(other);
        EXPECT_EQ(SysInfo::is64BitOs(), row.system64);
        EXPECT_EQ(SysInfo::isWow64(), row.system64 && !row.process64);
        EXPECT_EQ(SysInfo::getProgramFilesDir(), row.programFiles);
        if (row.system64Dir != nullptr) {
            EXPECT_EQ(SysInfo::getSystem64Dir(), row.system64Dir);
            EXPECT_EQ(SysInfo::getWow64Dir(), _T("C:\\Windows\\SysWOW64"));
        } else {
            EXPECT_EQ(thrownBy<std::runtime_error>([] { SysInfo::getSystem64Dir(); }),
                      "SysInfo.cpp at SysInfo::getSystem64Dir(): OS is not 64bit");
            EXPECT_EQ(thrownBy<SysError>([] { SysInfo::getWow64Dir(); }),
                      "SysInfo.cpp at SysInfo::getSystemDirImpl(): GetSystemWow64Directory failed. "
                      "System error [120](system error 120 "
                      "(This system does not support the function))");
        }
        EXPECT_EQ(other.handles.open(), Lines());
    }
    machine.calls.failCall("IsWow64Process", 1);
    EXPECT_EQ(thrownBy<std::runtime_error>([] { SysInfo::isWow64(); }),
              "SysInfo.cpp at SysInfo::isWow64(): fnIsWow64Process() failed");
    machine.facts.is64BitProcess = false;
    machine.modules.hideFunction(u"kernel32", "IsWow64Process");
    EXPECT_FALSE(SysInfo::isWow64());
}

TEST_F(SysInfoTest, DirectoriesOfAnyLengthHaveNoTrailingSeparator) {
    for (const std::size_t length : {10u, 258u, 259u, 260u, 261u, 300u}) {
        SCOPED_TRACE(length);
        const std::u16string path = longPath(length);
        machine.facts.windowsDirectory = path;
        machine.facts.systemDirectory = path + u"\\";
        machine.facts.processEnvironment[u"TMP"] = path + u"\\\\";
        machine.facts.modulePath = path;
        EXPECT_EQ(SysInfo::getWindowsDir(), path);
        EXPECT_EQ(SysInfo::getSystemDir(), path);
        EXPECT_EQ(SysInfo::getTempDir(), path);
        machine.calls.clearJournal();
        EXPECT_EQ(SysInfo::getModulePath(SysInfo::getCurrentModuleHandle()), path);
        EXPECT_EQ(machine.calls.count("GetModuleFileNameW"), length < 260 ? 1u : 2u);
    }
    machine.facts.windowsDirectory = u"C:\\";
    EXPECT_EQ(SysInfo::getWindowsDir(), _T("C:"));
}

TEST_F(SysInfoTest, FailuresNameTheCall) {
    machine.calls.failCall("GetWindowsDirectoryW", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(thrownBy<SysError>([] { SysInfo::getWindowsDir(); }),
              std::string("SysInfo.cpp at SysInfo::getSystemDirImpl(): "
                          "GetWindowsDirectory failed. ") +
                  kNoMemory);
    machine.calls.failCall("GetModuleFileNameW", 1, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(thrownBy<SysError>([] { SysInfo::getModulePath(nullptr); }),
              std::string("SysInfo.cpp at SysInfo::`anonymous-namespace'::getModulePath(): "
                          "GetModuleFileName failed. ") +
                  kNoMemory);
    // The description of this one needs the call that fails.
    machine.calls.failAll("GetModuleHandleExW", ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(thrownBy<SysError>([] { SysInfo::getCurrentModuleHandle(); }),
              "SysInfo.cpp at SysInfo::getCurrentModuleHandle(): "
              "GetModuleHandleExW failed. System error [126]");
    machine.calls.clearPlans();
    machine.calls.failCall("SHGetFolderPathW", 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(
        thrownBy<ComError>([] { SysInfo::SHGetFolderPathAdapter(CSIDL_PROGRAM_FILES_COMMON, 1); }),
        "SysInfo.cpp at SysInfo::SHGetFolderPathAdapter(): SHGetFolderPath(0x2b, mode=1): "
        "COM error 0x80070005 (Access is denied)");
}

TEST_F(SysInfoTest, ShellFolderIsMadeInModeOne) {
    machine.shell.setFolder(CSIDL_PROGRAM_FILES_COMMON, u"C:\\Common\\");
    EXPECT_EQ(SysInfo::SHGetFolderPathAdapter(CSIDL_PROGRAM_FILES_COMMON, 1), _T("C:\\Common"));
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\Common"));
}

TEST_F(SysInfoTest, EnvironmentIsReadOrReplaced) {
    for (const std::size_t length : {0u, 1u, 8u, 9u, 10u, 11u, 32000u}) {
        const std::u16string value(length, u'v');
        machine.facts.processEnvironment[u"NORV"] = value;
        SetLastError(ERROR_ENVVAR_NOT_FOUND);  // of an earlier call
        EXPECT_EQ(SysInfo::getEnvVariable(_T("norv"), _T("none")), value) << length;
    }
    EXPECT_EQ(SysInfo::getEnvVariable(_T("NOTHING"), _T("none")), _T("none"));
    machine.calls.failCall("GetEnvironmentVariableW", 2, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(SysInfo::getEnvVariable(_T("NORV"), _T("none")), _T("none"));
}

TEST_F(SysInfoTest, LibraryIsTakenFromTheSystemDirectory) {
    using Function = DWORD(WINAPI*)();
    {
        const auto bind = [] { return DllFunction<Function>(Dll(_T("kernel32")), "GetTickCount"); };
        const DllFunction<Function> ticks = bind();
        machine.facts.clock.setTicks(99);
        EXPECT_TRUE(ticks.isAvailable());
        EXPECT_EQ(ticks(), 99u);

        const DllFunction<Function> none(Dll(_T("kernel32")), "NoSuchFunction");
        EXPECT_FALSE(none.isAvailable());
        const std::string thrown =
            thrownBy<std::runtime_error>([&] { static_cast<Function>(none); });
        EXPECT_EQ(thrown.find("Dll.h at DllFunction<F>::operator F() const"), 0u) << thrown;
        const std::string text =
            "(): NoSuchFunction() function is not available in C:\\Windows\\System32\\kernel32";
        ASSERT_GT(thrown.size(), text.size());
        EXPECT_EQ(thrown.substr(thrown.size() - text.size()), text);
    }
    EXPECT_EQ(thrownBy<SysError>([] { Dll(_T("nosuch")); }),
              "Dll.cpp at `anonymous-namespace'::loadLibrary(): "
              "LoadLibraryW(C:\\Windows\\System32\\nosuch) failed. "
              "System error [126](system error 126 (The module could not be found))");
    const Dll dll(_T("kernel32"));
    machine.calls.failCall("GetModuleHandleExW", 1, ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(thrownBy<SysError>([&] { const Dll copy(dll); }),
              "Dll.cpp at Dll::Dll(): GetModuleHandleExW(C:\\Windows\\System32\\kernel32) failed. "
              "System error [126](system error 126 (The module could not be found))");
}

}  // namespace
