// The version of Windows, its directories, and who runs the process.
#include "windows/common/SysInfo.h"

#include <shlobj.h>

#include "common/windows/WinErrorHandling.h"
#include "support/LibraryProcess.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/Dll.h"
#include "windows/common/Security.h"

namespace {

using SysInfoTest = OnMachine;

TEST(SysInfo, ClassifiesVersionsOfWindows) {
    using SysInfo::OsVersion;
    const struct {
        DWORD major, minor;
        OsVersion expected;
    } cases[] = {
        {.major = 0, .minor = 4, .expected = OsVersion::Unknown},
        {.major = 5, .minor = 0, .expected = OsVersion::Unknown},
        {.major = 5, .minor = 1, .expected = OsVersion::WindowsXp},
        {.major = 5, .minor = 2, .expected = OsVersion::WindowsXp},
        {.major = 5, .minor = 3, .expected = OsVersion::Unknown},
        {.major = 6, .minor = 0, .expected = OsVersion::WindowsVista},
        {.major = 6, .minor = 1, .expected = OsVersion::Windows7},
        {.major = 6, .minor = 2, .expected = OsVersion::Windows8},
        {.major = 6, .minor = 3, .expected = OsVersion::Windows81},
        {.major = 6, .minor = 4, .expected = OsVersion::Later},
        {.major = 10, .minor = 0, .expected = OsVersion::Windows10},
        {.major = 10, .minor = 1, .expected = OsVersion::Later},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SysInfo::classifyOsVersion(c.major, c.minor), c.expected)
            << c.major << "." << c.minor;
    }
}

/// Returns the errors that are logged as the library is loaded.
std::vector<std::string> errorsOfLoading(simulated::Machine& machine) {
    const LibraryProcess process(machine);
    std::vector<std::string> errors;
    for (const std::string& message : logMessages(machine, "ERROR")) {
        errors.push_back(withoutLines(message));
    }
    return errors;
}

TEST(SysInfo, LoadingSurvivesAFailedQueryOfTheVersion) {
    using Lines = std::vector<std::string>;
    simulated::Machine withoutRtl;
    withoutRtl.modules.hideFunction(u"ntdll", "RtlGetVersion");
    withoutRtl.calls.failCall("GetVersionExW", 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(errorsOfLoading(withoutRtl),
              (Lines{"RtlGetVersion is not available",
                     "GetVersionExW() failed with system error 5 (Access is denied)"}));

    simulated::Machine withoutOther;
    withoutOther.modules.hideFunction(u"kernel32", "GetVersionExW");
    withoutOther.calls.failCall("RtlGetVersion", 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(errorsOfLoading(withoutOther),
              (Lines{"RtlGetVersion() failed: 5", "GetVersionExW is not available"}));

    simulated::Machine withoutDirectory;
    withoutDirectory.calls.failCall("GetSystemDirectoryW", 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(errorsOfLoading(withoutDirectory),
              Lines{"Exception with message 'SysInfo.cpp at SysInfo::getSystemDirImpl(): "
                    "GetSystemDirectory failed. System error [5](system error 5 (Access is "
                    "denied))' caught"});
}

TEST(SysInfo, BeforeVistaEveryAdministratorIsElevated) {
    for (const DWORD major : {5u, 6u, 10u}) {
        for (const char* failing : {"", "RtlGetVersion", "GetSystemDirectoryW"}) {
            simulated::Machine machine;
            machine.facts.version = {major, 1, 0};
            machine.security.becomeFilteredAdministrator();
            machine.volumes.addDrive(u'N', DRIVE_REMOTE);
            machine.calls.failCall(failing, 1);
            const MSIHANDLE session = machine.installer.openSession({{u"INSTALLCFG", u"N:\\x"}});
            EXPECT_EQ(LibraryProcess(machine).call("MSISetImpersonate", session), 0u);
            EXPECT_EQ(machine.installer.property(session, u"IMPERSONATE"), major < 6 ? u"1" : u"")
                << failing;
        }
    }
}

TEST_F(SysInfoTest, TheProgramDirectoryIsThatOfTheRegistry) {
    machine.registry.setString(simulated::View::Bits64,
                               u"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                               u"ProgramFilesDir", u"D:\\Programs\\/");
    EXPECT_EQ(SysInfo::getProgramFilesDir(), u"D:\\Programs");
    machine.facts.is64BitProcess = false;
    EXPECT_EQ(SysInfo::getProgramFilesDir(), u"D:\\Programs");
    machine.become32Bit();
    EXPECT_EQ(SysInfo::getProgramFilesDir(), u"C:\\Program Files");
}

TEST_F(SysInfoTest, The64BitSystemDirectoryDependsOnTheProcess) {
    EXPECT_EQ(SysInfo::runningBits(), 64u);
    EXPECT_EQ(SysInfo::getSystem64Dir(), u"C:\\Windows\\System32");
    machine.facts.is64BitProcess = false;
    EXPECT_EQ(SysInfo::runningBits(), 32u);
    EXPECT_EQ(SysInfo::getSystem64Dir(), u"C:\\Windows\\Sysnative");
    machine.become32Bit();
    EXPECT_EQ(thrownText([] { SysInfo::getSystem64Dir(); }), "OS is not 64bit");
}

TEST_F(SysInfoTest, AWindowsWithoutTheQueryRunsNo32BitProcessOn64Bits) {
    machine.facts.is64BitProcess = false;
    machine.modules.hideFunction(u"kernel32", "IsWow64Process");
    EXPECT_FALSE(SysInfo::isWow64());
}

TEST_F(SysInfoTest, AShellFolderExistsUnlessItsDefaultIsRequested) {
    machine.shell.setFolder(CSIDL_COMMON_PROGRAMS, u"C:\\Menu\\");
    EXPECT_THROW(SysInfo::SHGetFolderPathAdapter(CSIDL_COMMON_PROGRAMS), ComError);
    EXPECT_EQ(SysInfo::SHGetFolderPathAdapter(CSIDL_COMMON_PROGRAMS, 1), u"C:\\Menu");
}

TEST_F(SysInfoTest, AMissingFunctionIsNamedWithItsModule) {
    const DllFunction<FARPROC> none(Dll(u"kernel32"), "None");
    EXPECT_EQ(thrownText([&] { static_cast<FARPROC>(none); }),
              "None() function is not available in C:\\Windows\\System32\\kernel32");
}

TEST_F(SysInfoTest, PathsOfAnyLengthAreRead) {
    for (const std::size_t length : {259u, 260u, 261u}) {
        machine.facts.windowsDirectory = u"C:\\" + tstring(length - 3, u'x') + u"\\";
        EXPECT_EQ(SysInfo::getWindowsDir() + u"\\", machine.facts.windowsDirectory);
        machine.facts.modulePath = tstring(length, u'm');
        EXPECT_EQ(SysInfo::getModulePath(SysInfo::getCurrentModuleHandle()).size(), length);
    }
}

TEST_F(SysInfoTest, EnvironmentVariablesOfAnyLengthAreRead) {
    for (const std::size_t length : {0u, 9u, 10u, 11u, 32000u}) {
        const tstring value(length, u'v');
        machine.facts.environment[u"NORV"] = value;
        SetLastError(ERROR_ENVVAR_NOT_FOUND);  // of an earlier call
        EXPECT_EQ(SysInfo::getEnvVariable(u"norv", u"none"), value) << length;
    }
    machine.calls.failCall("GetEnvironmentVariableW", 2, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(SysInfo::getEnvVariable(u"NORV", u"none"), u"none");
    EXPECT_EQ(SysInfo::getEnvVariable(u"NOTHING", u"none"), u"none");
}

TEST_F(SysInfoTest, AdministratorsAreMembersOfTheirGroup) {
    auto& groups = machine.security.groups;
    groups.erase(groups.begin());  // theirs is the first one now
    EXPECT_TRUE(security::isUserAdmin());
    groups.clear();
    EXPECT_FALSE(security::isUserAdmin());
}

}  // namespace
