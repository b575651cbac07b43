// Every operation of the Windows layers, whole and with each of its calls failed in turn: what it
// logs or throws names the call, and nothing stays open.
#include <shlobj.h>

#include <algorithm>
#include <set>

#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/Dll.h"
#include "windows/common/FileUtils.h"
#include "windows/common/Guid.h"
#include "windows/common/Registry.h"
#include "windows/common/Security.h"
#include "windows/common/Shortcut.h"
#include "windows/common/SysInfo.h"
#include "windows/common/VersionResource.h"

namespace {

using namespace FileUtils;
using Texts = std::vector<std::string>;

void createShortcutTo(const TCHAR* target) {
    const ComInitializer com;
    Shortcut{u"Norv", u"What", u"C:\\full", target, u"-x", Shortcut::kByTarget, u"C:\\i"}.create();
}

struct Operation {
    const char* name;
    void (*run)();
    /// What is thrown or logged when a call fails, without its place and status, in the order of
    /// the calls; the same text once.
    Texts failures;
    Texts logged = {};  ///< when nothing fails
};

const Operation kOperations[] = {
    {.name = "compare paths",
     .run = [] { isSamePath(u"C:\\full", u"C:\\full"); },
     .failures = {"GetFullPathName failed", "GetLongPathName failed"}},
    {.name = "create directories",
     .run = [] { createDirectories(u"C:\\a/b\\/"); },
     .failures = {"CreateDirectory(C:\\) failed", "CreateDirectory(C:\\a/) failed",
                  "CreateDirectory(C:\\a/b\\) failed"},
     .logged = {"FileUtils::`anonymous-namespace'::createDir: Created [C:\\a/] directory",
                "FileUtils::`anonymous-namespace'::createDir: Created [C:\\a/b\\] directory"}},
    {.name = "create a junction and read its target",
     .run =
         [] {
             createJunction(u"C:\\a", u"C:\\full");
             getLinkTarget(u"C:\\link");
         },
     .failures = {"CreateDirectory(C:\\) failed", "CreateDirectory(C:\\a\\) failed",
                  "C:\\a: cannot open", "C:\\a: cannot set reparse point", "C:\\link: not a link",
                  "C:\\link: cannot open", "C:\\link: cannot get reparse point"},
     .logged = {"FileUtils::`anonymous-namespace'::createDir: Created [C:\\a\\] directory",
                "FileUtils::createJunction: Created [C:\\a] junction for [C:\\full] target",
                "FileUtils::getLinkTarget: Target for [C:\\link] link is [C:\\full]"}},
    {.name = "copy files",
     .run =
         [] {
             copyFile(u"C:\\full\\file", u"C:\\b", true);
             copyPersistentFile(u"C:\\b", u"C:\\c");
         },
     .failures = {"CreateDirectory(C:\\) failed", "CopyFile(C:\\full\\file, C:\\b, 1) failed",
                  "FileUtils::copyPersistentFile(C:\\b, C:\\c, 0) failed. Source file not found.",
                  "CopyFile(C:\\b, C:\\c, 0) failed"},
     .logged = {"FileUtils::copyFile: Copied [C:\\full\\file] file to [C:\\b]",
                "FileUtils::copyFile: Copied [C:\\b] file to [C:\\c]"}},
    {.name = "create, move and replace files",
     .run =
         [] {
             createUniqueFile(u"C:\\b");
             moveFile(u"C:\\full\\file", u"C:\\b", false);
             moveFile(u"C:\\full", u"C:\\c", true);
         },
     .failures = {"CreateDirectory(C:\\) failed", "MoveFileEx(C:\\full\\file, C:\\b, 3) failed",
                  "MoveFileEx(C:\\full, C:\\c, 2) failed"},
     .logged =
         {"FileUtils::`anonymous-namespace'::createNewFile: Created [C:\\b] file",
          "FileUtils::`anonymous-namespace'::moveFileImpl: Moved 'C:\\full\\file' file to 'C:\\b'",
          "FileUtils::`anonymous-namespace'::moveFileImpl: Moved 'C:\\full' folder to 'C:\\c'"}},
    {.name = "delete a junction, a file and a tree",
     .run =
         [] {
             deleteJunction(u"C:\\link");
             deleteFile(u"C:\\full\\file");
             Deleter(true).appendTree(u"C:\\full");
         },
     .failures = {"C:\\link: is not a junction", "RemoveDirectory(C:\\link) failed",
                  "DeleteFile(C:\\full\\file) failed", "FindFirstFile(C:\\full) failed",
                  "FindNextFile(C:\\full) failed"},
     .logged = {"FileUtils::tryDeleteDirectory: Deleted [C:\\link] directory",
                "FileUtils::`anonymous-namespace'::deleteFileImpl: Deleted [C:\\full\\file] file",
                "FileUtils::tryDeleteDirectory: Deleted [C:\\full] directory"}},
    {.name = "set permissions",
     .run = [] { setPermissions(u"C:\\full"); },
     .failures = {"ConvertStringSecurityDescriptorToSecurityDescriptor failed",
                  "setPermissions(C:\\full) failed"}},
    {.name = "read a file version",
     .run = [] { getFileVersion(u"C:\\full\\file"); },
     .failures = {"GetFileVersionInfoSize(C:\\full\\file) failed",
                  "GetFileVersionInfo(C:\\full\\file) failed",
                  "VerQueryValueW(C:\\full\\file, \\) failed"}},
    {.name = "read the system directories",
     .run =
         [] {
             SysInfo::isWow64();
             SysInfo::getWow64Dir();
             SysInfo::getWindowsDir();
         },
     .failures = {"GetSystemDirectory failed",
                  "LoadLibraryW(C:\\Windows\\System32\\kernel32) failed",
                  "GetModuleHandleExW(C:\\Windows\\System32\\kernel32) failed",
                  "fnIsWow64Process() failed", "GetSystemWow64Directory failed",
                  "GetWindowsDirectory failed"}},
    {.name = "read the module path, a shell folder and a new GUID",
     .run =
         [] {
             SysInfo::getModulePath(SysInfo::getCurrentModuleHandle());
             SysInfo::SHGetFolderPathAdapter(CSIDL_PROGRAM_FILES_COMMON, 1);
             Guid::generate().toString();
         },
     .failures = {"GetModuleHandleExW failed", "GetModuleFileName failed",
                  "SHGetFolderPath(0x2b, mode=1)", "CoCreateGuid() failed",
                  "StringFromGUID2() failed"}},
    {.name = "read the owner of the process",
     .run = [] { security::Sid::processOwnerUser().toString(); },
     .failures = {"OpenProcessToken failed", "GetTokenInformation (get size) failed",
                  "GetTokenInformation failed", "CopySid failed", "ConvertSidToStringSid failed"}},
    {.name = "read the rights of the process",
     .run =
         [] {
             security::isUserAdmin();
             security::isProcessElevated();
         },
     .failures = {"OpenProcessToken failed", "GetTokenInformation(TokenGroup) failed",
                  "ConvertStringSidToSid failed", "CopySid failed", "GetTokenInformation failed"}},
    {.name = "read and write registry values",
     .run =
         [] {
             HKLM64.getString(u"Software\\X\\v");
             HKLM64.setString(u"Software\\X\\", u"1");
             HKLM64.setExpandString(u"Software\\X\\v", u"%2%");
         },
     .failures = {"open key (HKLM64\\Software\\X) error",
                  "query value (HKLM64\\Software\\X\\v) error",
                  "set string value (HKLM64\\Software\\X) error",
                  "set expand string value (HKLM64\\Software\\X\\v) error"},
     .logged = {"Registry::setString: Set [HKLM64\\Software\\X\\]=REG_SZ[1]",
                "Registry::setExpandString: Set [HKLM64\\Software\\X\\v]=REG_EXPAND_SZ[%2%]"}},
    {.name = "list and delete registry values",
     .run =
         [] {
             const Registry key(HKLM64, u"Software\\X", Registry::Mode::Read);
             key.getSubkeyNames();
             key.getValueNames();
             HKLM64.deleteValue(u"Software\\X\\v");
         },
     .failures = {"open key (HKLM64\\Software\\X) error",
                  "enum subkeys (HKLM64\\Software\\X\\1) error",
                  "enum values (HKLM64\\Software\\X\\1) error",
                  "enum values (HKLM64\\Software\\X\\2) error"},
     .logged = {"Registry::deleteValue: Deleted [HKLM64\\Software\\X\\v] value"}},
    {.name = "delete a registry key",
     .run = [] { HKLM64.deleteKeyTree(u"Software\\X"); },
     .failures = {"delete key tree (HKLM64\\Software\\X) error", "GetSystemDirectory failed",
                  "LoadLibraryW(C:\\Windows\\System32\\advapi32) failed",
                  "GetModuleHandleExW(C:\\Windows\\System32\\advapi32) failed"},
     .logged =
         {"Registry::tryDeleteKeyTree: Deleted all child elements of [HKLM64\\Software\\X] key",
          "Registry::deleteSubkey: Deleted [HKLM64\\Software\\X] key"}},
    {.name = "create shortcuts",
     .run =
         [] {
             createShortcutTo(u"C:\\norv.exe");
             createShortcutTo(u"https://norv.example/");
         },
     .failures = {"CoCreateInstance(CLSID_ShellLink, IID_IShellLink) failed",
                  "IShellLink.SetPath(C:\\norv.exe) failed", "IShellLink.SetArguments(-x) failed",
                  "IShellLink.SetIconLocation(C:\\i) failed",
                  "IShellLink.SetDescription(What) failed",
                  "IUnknown.QueryInterface(IID_IPersistFile) failed",
                  "IPersistFilePtr.Save(C:\\full\\Norv.lnk) failed",
                  "CoCreateInstance(CLSID_InternetShortcut, IID_IUniformResourceLocator) failed",
                  "IUniformResourceLocator.SetURL(https://norv.example/, 0) failed",
                  "IUniformResourceLocator.QueryInterface(IID_IShellLink) failed",
                  "IPersistFilePtr.Save(C:\\full\\Norv.url) failed"}},
};

const std::set<std::string> kClosers = {"CloseHandle", "RegCloseKey", "FindClose",
                                        "FreeLibrary", "LocalFree",   "_close"};

struct OperatedMachine : simulated::Machine {
    OperatedMachine() {
        volumes.addFile(u"C:\\full\\file");
        volumes.setVersion(u"C:\\full\\file", 1, 2, 3, 4);
        volumes.addJunction(u"C:\\link", u"C:\\full");
        registry.setString(simulated::View::Bits64, u"HKLM\\Software\\X", u"v", u"text");
    }
    simulated::Running running{*this};
};

/// Returns what the operation throws or else logs, without its place and status.
std::string failureOf(const Operation& operation, const simulated::Machine& machine) {
    std::string text = thrownText(operation.run);
    for (const LogRecord& record : logRecords(machine)) {
        if (text == "nothing" && record.level != "TRACE") {
            text = thrownText([&] { throw std::runtime_error(record.message); });
        }
    }
    return text.substr(0, std::min(text.find(". System error [5]"), text.find(": COM error 0x80")));
}

/// Returns the failures of the operation with each of its calls failing in turn.
Texts failuresOf(const Operation& operation) {
    Texts failures;
    for (std::uint64_t n = 1;; ++n) {
        OperatedMachine machine;
        machine.calls.failCall(n, ERROR_ACCESS_DENIED);
        const std::string failure = failureOf(operation, machine);
        const std::string failed = machine.calls.faultedFunction();
        if (failed.empty()) {
            return failures;
        }
        EXPECT_EQ(machine.shell.openObjects(), Texts()) << failed;
        if (!kClosers.contains(failed)) {
            EXPECT_EQ(machine.handles.open(), Texts()) << failed;
            failures.push_back(failure);
        }
        machine.handles.closeAll();
    }
}

/// Returns each text once, except "nothing".
Texts withoutRepetitions(const Texts& texts) {
    Texts result;
    for (const std::string& text : texts) {
        if (text != "nothing" && std::ranges::find(result, text) == result.end()) {
            result.push_back(text);
        }
    }
    return result;
}

TEST(FailedCalls, AreNamedAndLeaveNothingOpen) {
    for (const Operation& operation : kOperations) {
        EXPECT_EQ(withoutRepetitions(failuresOf(operation)), operation.failures) << operation.name;
    }
}

TEST(FailedCalls, WithoutOneAnOperationLogsWhatItHasDone) {
    for (const Operation& operation : kOperations) {
        const OperatedMachine machine;
        operation.run();
        Texts logged;
        for (const LogRecord& record : logRecords(machine)) {
            logged.push_back(record.function + ": " + record.message);
        }
        EXPECT_EQ(logged, operation.logged) << operation.name;
    }
}

}  // namespace
