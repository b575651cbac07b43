// The running Windows, its directories, identifiers and shortcuts.
#include <shlobj.h>

#include "common/windows/WinErrorHandling.h"
#include "support/LibraryProcess.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/Dll.h"
#include "windows/common/Guid.h"
#include "windows/common/Security.h"
#include "windows/common/Shortcut.h"
#include "windows/common/SysInfo.h"

namespace {

using Lines = std::vector<std::string>;
using System = OnMachine;

TEST(OsVersions, AreClassified) {
    using SysInfo::OsVersion;
    const struct {
        DWORD major, minor;
        OsVersion expected;
    } cases[] = {
        {.major = 0, .minor = 0, .expected = OsVersion::Unknown},
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

/// The version is asked while the library is loaded, which nothing may stop.
TEST(OsVersions, LoadingSurvivesWhatIsNotThere) {
    const char* const rows[][3] = {
        {"RtlGetVersion", "GetVersionExW",
         "RtlGetVersion is not available; "
         "GetVersionExW() failed with system error 5 (Access is denied); "},
        {"GetVersionExW", "RtlGetVersion",
         "RtlGetVersion() failed: 5; GetVersionExW is not available; "},
        {"", "GetSystemDirectoryW",
         "Exception with message 'SysInfo.cpp at SysInfo::getSystemDirImpl(): GetSystemDirectory "
         "failed. System error [5](system error 5 (Access is denied))' caught; "},
    };
    for (const auto& [lacking, failing, messages] : rows) {
        simulated::Machine machine;
        machine.modules.hideFunction(u"ntdll", lacking);
        machine.modules.hideFunction(u"kernel32", lacking);
        machine.calls.failCall(failing, 1, ERROR_ACCESS_DENIED);
        const LibraryProcess process(machine);
        std::string found;
        for (const std::string& message : logMessages(machine, "ERROR")) {
            found += withoutLines(message) + "; ";
        }
        EXPECT_EQ(found, messages);
    }
}

TEST(OsVersions, BeforeVistaEveryAdministratorIsElevated) {
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

TEST_F(System, ProcessSeesItsDirectories) {
    machine.registry.setString(simulated::View::Bits64,
                               u"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                               u"ProgramFilesDir", u"D:\\Programs\\/");
    const auto facts = [] {
        tstring system64;
        const std::string thrown = thrownText([&] { system64 = SysInfo::getSystem64Dir(); });
        const Text text = Text() << SysInfo::runningBits() << u" " << SysInfo::getProgramFilesDir()
                                 << u" " << system64 << u" ";
        return text.utf8() + thrown;
    };
    EXPECT_EQ(facts(), "64 D:\\Programs C:\\Windows\\System32 nothing");
    machine.facts.is64BitProcess = false;
    EXPECT_EQ(facts(), "32 D:\\Programs C:\\Windows\\Sysnative nothing");
    machine.modules.hideFunction(u"kernel32", "IsWow64Process");
    EXPECT_FALSE(SysInfo::isWow64());
    machine.shell.setFolder(CSIDL_COMMON_PROGRAMS, u"C:\\Menu\\");
    EXPECT_THROW(SysInfo::SHGetFolderPathAdapter(CSIDL_COMMON_PROGRAMS), ComError);
    EXPECT_EQ(SysInfo::SHGetFolderPathAdapter(CSIDL_COMMON_PROGRAMS, 1), u"C:\\Menu");
    machine.become32Bit();
    EXPECT_EQ(facts(), "32 C:\\Program Files  OS is not 64bit");
    const DllFunction<FARPROC> none(Dll(u"kernel32"), "None");
    EXPECT_EQ(thrownText([&] { static_cast<FARPROC>(none); }),
              "None() function is not available in C:\\Windows\\System32\\kernel32");
}

TEST_F(System, TextsOfAnyLengthAreRead) {
    for (const std::size_t length : {259u, 260u, 261u}) {
        machine.facts.windowsDirectory = u"C:\\" + tstring(length - 3, u'x') + u"\\";
        EXPECT_EQ(SysInfo::getWindowsDir() + u"\\", machine.facts.windowsDirectory);
        machine.facts.modulePath = tstring(length, u'm');
        EXPECT_EQ(SysInfo::getModulePath(SysInfo::getCurrentModuleHandle()).size(), length);
    }
    for (const std::size_t length : {0u, 9u, 10u, 11u, 32000u}) {
        const tstring value(length, u'v');
        machine.facts.environment[u"NORV"] = value;
        SetLastError(ERROR_ENVVAR_NOT_FOUND);  // of an earlier call
        EXPECT_EQ(SysInfo::getEnvVariable(u"norv", u"none"), value) << length;
    }
    EXPECT_EQ(SysInfo::getEnvVariable(u"NOTHING", u"none"), u"none");
    machine.calls.failCall("GetEnvironmentVariableW", 2, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(SysInfo::getEnvVariable(u"NORV", u"none"), u"none");
}

TEST_F(System, AdministratorsAreOfTheirGroup) {
    auto& groups = machine.security.groups;
    groups.erase(groups.begin());  // theirs is the first one now
    EXPECT_TRUE(security::isUserAdmin());
    groups.clear();
    EXPECT_FALSE(security::isUserAdmin());
}

TEST_F(System, GuidsAreReadInEachForm) {
    const tstring form = u"{26A24AE4-039D-4CA4-87B4-2F64180451F0}";
    for (const tstring text :
         {u"26A24AE4-039D-4CA4-87B4-2F64180451F0", u"{26A24AE4039D4CA487B42F64180451F0}",
          u"26a24ae4039d4ca487b42f64180451f0"}) {
        EXPECT_EQ(Guid(text).toString(), form);
    }
    for (const tstring text :
         {u"", u"26A24AE4039D4CA487B42F64180451F", u"26A24AE4-039D-4CA4-87B4-2F64180451F0}"}) {
        EXPECT_EQ(thrownText([&] { Guid{text}; }),
                  (Text() << "IIDFromString(" << text << ") failed").utf8());
    }
    EXPECT_TRUE(Guid().isEmpty());
    EXPECT_NE(Guid::generate().toString(), Guid::generate().toString());
}

TEST_F(System, ShortcutsWantComAndTheirTexts) {
    machine.calls.failCall("CoInitialize", 2, ERROR_ACCESS_DENIED);
    const ComInitializer com;
    { const ComInitializer failing; }
    EXPECT_EQ(log(), Lines{"WARNING ComUtils.cpp ComInitializer::ComInitializer: "
                           "CoInitialize failed with COM error 0x80070005 (Access is denied)"});
    for (tstring Shortcut::*member :
         {&Shortcut::target, &Shortcut::folder, &Shortcut::description, &Shortcut::name}) {
        Shortcut shortcut = {u"N", u"What", u"C:\\", u"C:\\x", u"", Shortcut::kAlwaysUrl, u""};
        EXPECT_EQ(shortcut.create(), u"C:\\N.url");
        (shortcut.*member).clear();
        EXPECT_EQ(thrownText([&] { shortcut.create(); }), "Shortcut not configured properly");
    }
    EXPECT_EQ(machine.calls.count("IShellLinkW::SetArguments"), 0u);
}

}  // namespace
