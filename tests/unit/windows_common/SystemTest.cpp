// The running Windows, its directories, accounts, identifiers and shortcuts.
#include <shlobj.h>

#include <functional>

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

using SysInfo::OsVersion;
using Lines = std::vector<std::string>;
using System = OnMachine;

TEST(OsVersions, AreClassified) {
    const std::tuple<DWORD, DWORD, OsVersion> rows[] = {
        {0, 0, OsVersion::Unknown},    {5, 0, OsVersion::Unknown},
        {5, 1, OsVersion::WindowsXp},  {5, 2, OsVersion::WindowsXp},
        {5, 3, OsVersion::Unknown},    {6, 0, OsVersion::WindowsVista},
        {6, 1, OsVersion::Windows7},   {6, 2, OsVersion::Windows8},
        {6, 3, OsVersion::Windows81},  {6, 4, OsVersion::Later},
        {10, 0, OsVersion::Windows10}, {10, 1, OsVersion::Later},
    };
    for (const auto& [major, minor, version] : rows) {
        EXPECT_EQ(SysInfo::classifyOsVersion(major, minor), version) << major << "." << minor;
    }
}

/// The version is asked while the library is loaded, which nothing may stop.
TEST(OsVersions, LoadingSurvivesWhatIsNotThere) {
    const struct {
        std::function<void(simulated::Machine&)> arrange;
        Lines log;
    } rows[] = {
        {[](simulated::Machine& m) { m.modules.hideFunction(u"ntdll", "RtlGetVersion"); },
         {"RtlGetVersion is not available"}},
        {[](simulated::Machine& m) {
             m.calls.failCall("RtlGetVersion", 1, 5);
             m.modules.hideFunction(u"kernel32", "GetVersionExW");
         },
         {"RtlGetVersion() failed: 5", "GetVersionExW is not available"}},
        {[](simulated::Machine& m) {
             m.calls.failCall("GetSystemDirectoryW", 1, ERROR_ACCESS_DENIED);
             m.calls.failCall("GetVersionExW", 1, ERROR_ACCESS_DENIED);
         },
         {"Exception with message 'SysInfo.cpp at SysInfo::getSystemDirImpl(): GetSystemDirectory "
          "failed. System error [5](system error 5 (Access is denied))' caught",
          "GetVersionExW() failed with system error 5 (Access is denied)"}},
    };
    for (const auto& row : rows) {
        simulated::Machine machine;
        row.arrange(machine);
        const LibraryProcess process(machine);
        Lines lines;
        for (const LogRecord& r : logRecords(machine)) {
            lines.push_back(withoutLines(r.message));
        }
        EXPECT_EQ(lines, row.log);
        EXPECT_NE(process.address("ZIP_Open"), nullptr);
    }
}

TEST_F(System, ProcessSeesItsDirectories) {
    machine.registry.setString(simulated::View::Bits64,
                               u"HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion",
                               u"ProgramFilesDir", u"D:\\Programs\\/");
    const auto facts = [] {
        tstring system64;
        const std::string thrown = thrownText([&] { system64 = SysInfo::getSystem64Dir(); });
        return (Text() << SysInfo::is64BitOs() << SysInfo::isWow64() << SysInfo::runningBits()
                       << u" " << SysInfo::getProgramFilesDir() << u" " << system64 << u" "
                       << thrown)
            .utf8();
    };
    EXPECT_EQ(facts(), "1064 D:\\Programs C:\\Windows\\System32 nothing");
    machine.facts.is64BitProcess = false;
    EXPECT_EQ(facts(), "1132 D:\\Programs C:\\Windows\\Sysnative nothing");
    EXPECT_EQ(SysInfo::getWow64Dir(), u"C:\\Windows\\SysWOW64");
    machine.modules.hideFunction(u"kernel32", "IsWow64Process");
    EXPECT_FALSE(SysInfo::isWow64());
    machine.shell.setFolder(CSIDL_PROGRAM_FILES_COMMON, u"C:\\Common\\");
    machine.shell.setFolder(CSIDL_COMMON_PROGRAMS, u"C:\\Menu");
    EXPECT_THROW(SysInfo::SHGetFolderPathAdapter(CSIDL_COMMON_PROGRAMS), ComError);
    EXPECT_EQ(SysInfo::SHGetFolderPathAdapter(CSIDL_PROGRAM_FILES_COMMON, 1), u"C:\\Common");
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\Common"));
    machine.become32Bit();
    EXPECT_EQ(facts(), "0032 C:\\Program Files  OS is not 64bit");
}

TEST_F(System, TextsOfAnyLengthAreRead) {
    for (const std::size_t length : {10u, 259u, 260u, 261u}) {
        SCOPED_TRACE(length);
        const std::u16string path = u"C:\\" + std::u16string(length - 3, u'x');
        machine.facts.windowsDirectory = path;
        machine.facts.systemDirectory = path + u"\\";
        machine.facts.environment[u"TMP"] = path + u"\\\\";
        machine.facts.modulePath = path;
        EXPECT_EQ(SysInfo::getWindowsDir(), path);
        EXPECT_EQ(SysInfo::getSystemDir(), path);
        EXPECT_EQ(SysInfo::getTempDir(), path);
        machine.calls.clearJournal();
        EXPECT_EQ(SysInfo::getModulePath(SysInfo::getCurrentModuleHandle()), path);
        EXPECT_EQ(machine.calls.count("GetModuleFileNameW"), length < 260 ? 1u : 2u);
    }
    for (const std::size_t length : {0u, 9u, 10u, 11u, 32000u}) {
        const std::u16string value(length, u'v');
        machine.facts.environment[u"NORV"] = value;
        SetLastError(ERROR_ENVVAR_NOT_FOUND);  // of an earlier call
        EXPECT_EQ(SysInfo::getEnvVariable(u"norv", u"none"), value) << length;
    }
    EXPECT_EQ(SysInfo::getEnvVariable(u"NOTHING", u"none"), u"none");
    machine.calls.failCall("GetEnvironmentVariableW", 2, ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(SysInfo::getEnvVariable(u"NORV", u"none"), u"none");
}

TEST_F(System, LibraryFunctionNeedNotBeThere) {
    using Function = DWORD(WINAPI*)();
    const auto bind = [](const char* name) {
        return DllFunction<Function>(Dll(u"kernel32"), name);
    };
    const DllFunction<Function> none = bind("NoSuchFunction");
    EXPECT_TRUE(bind("GetTickCount").isAvailable() && !none.isAvailable());
    EXPECT_EQ(thrownText([&] { static_cast<Function>(none); }),
              "NoSuchFunction() function is not available in C:\\Windows\\System32\\kernel32");
}

TEST_F(System, AccountsAreToldApart) {
    const std::tuple<void (*)(simulated::Security&), bool, bool> rows[] = {
        {[](simulated::Security& s) { s.becomeLocalSystem(); }, true, true},
        {[](simulated::Security& s) { s.becomeFilteredAdministrator(); }, true, false},
        {[](simulated::Security& s) { s.becomeOrdinaryUser(); }, false, false},
        {[](simulated::Security& s) { s.groups.clear(); }, false, true},
    };
    for (const auto& [arrange, isAdmin, isElevated] : rows) {
        machine.security = {};
        arrange(machine.security);
        EXPECT_EQ(security::Sid::processOwnerUser().toString(), machine.security.user);
        EXPECT_EQ(security::isUserAdmin(), isAdmin);
        EXPECT_EQ(security::isProcessElevated(), isElevated);
    }
}

TEST_F(System, GuidsAreReadInEachForm) {
    const TCHAR* const form = u"{26A24AE4-039D-4CA4-87B4-2F64180451F0}";
    for (const TCHAR* text :
         {form, u"26A24AE4-039D-4CA4-87B4-2F64180451F0", u"26A24AE4039D4CA487B42F64180451F0",
          u"{26A24AE4039D4CA487B42F64180451F0}", u"26a24ae4039d4ca487b42f64180451f0"}) {
        EXPECT_EQ(Guid(tstring(text)).toString(), form);
    }
    for (const tstring text :
         {u"", u"26A24AE4039D4CA487B42F64180451F", u"26A24AE4039D4CA487B42F64180451F0A",
          u"{26A24AE4-039D-4CA4-87B4-2F64180451F0", u"26A24AE4-039D-4CA4-87B4-2F64180451F0}",
          u"{26A24AE4039D4CA487B42F64180451F0", u"26A24AE4-039D4CA487B42F64180451F0",
          u"{26A24AE4-039D-4CA4-87B4-2F64180451FG}", u"{26A24AE4x039D-4CA4-87B4-2F64180451F0}",
          u"{{26A24AE4-039D-4CA4-87B4-2F64180451F0}}"}) {
        EXPECT_EQ(thrownText([&] { Guid{text}; }),
                  (Text() << "IIDFromString(" << text << ") failed").utf8());
    }
    const Guid made = Guid::generate();
    EXPECT_TRUE(Guid().isEmpty() && !made.isEmpty());
    EXPECT_NE(made, Guid::generate());
    EXPECT_TRUE(Guid() < made && !(made < Guid()) && !(made < made));
}

TEST_F(System, ShortcutsAreWrittenByTargetAndType) {
    machine.volumes.addDirectory(u"C:\\Menu");
    const std::tuple<const TCHAR*, std::int32_t, const TCHAR*> rows[] = {
        {u"C:\\norv.exe", 0, u"C:\\Menu\\Norv.lnk"},
        {u"C:\\norv.exe", 1, u"C:\\Menu\\Norv.url"},
        {u"https://norv.example/", 0, u"C:\\Menu\\Norv.url"},
        {u"https://norv.example/", 2, u"C:\\Menu\\Norv.lnk"},
    };
    const ComInitializer com;
    for (const auto& [target, fileType, path] : rows) {
        const bool isSite = target[0] == u'h';
        const tstring arguments = isSite ? u"" : u"-x";
        const Shortcut whole = {u"Norv",   u"What",  u"C:\\Menu\\", target,
                                arguments, fileType, u"C:\\icon"};
        EXPECT_EQ(whole.create(), path);
        const simulated::ShellLink expected = {isSite, target, arguments, u"What", u"C:\\icon", 0};
        EXPECT_EQ(machine.shell.link(path), expected);
        for (tstring Shortcut::*member :
             {&Shortcut::name, &Shortcut::description, &Shortcut::folder, &Shortcut::target}) {
            Shortcut incomplete = whole;
            (incomplete.*member).clear();
            EXPECT_EQ(thrownText([&] { incomplete.create(); }), "Shortcut not configured properly");
        }
    }
    EXPECT_EQ(machine.calls.count("IShellLinkW::SetArguments"), 2u);
}

TEST_F(System, ComIsEndedOnlyWhereItWasStarted) {
    { const ComInitializer com; }
    machine.calls.failCall("CoInitialize", 1, ERROR_ACCESS_DENIED);
    { const ComInitializer com; }
    EXPECT_EQ(machine.calls.count("CoUninitialize"), 1u);
    EXPECT_EQ(log(), Lines{"WARNING ComUtils.cpp ComInitializer::ComInitializer: "
                           "CoInitialize failed with COM error 0x80070005 (Access is denied)"});
}

}  // namespace
