// Every operation of the Windows layers with each of its calls failed in turn: what it throws names
// that call, what it bears is listed nowhere, and nothing stays open.
#include <shlobj.h>

#include <algorithm>
#include <set>

#include "support/OnMachine.h"
#include "support/Thrown.h"
#include "windows/common/DirectoryIterator.h"
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
    void (*run)();
    Texts thrown;  // without place and status, each once, in the order of the calls
};

const Operation kOperations[] = {
    {[] { isSamePath(u"C:\\full", u"C:\\full"); },
     {"GetFullPathName failed", "GetLongPathName failed"}},
    {[] { createDirectories(u"C:\\a/b"); },
     {"CreateDirectory(C:\\) failed", "CreateDirectory(C:\\a/) failed",
      "CreateDirectory(C:\\a/b\\) failed"}},
    {[] { createJunction(u"C:\\a", u"C:\\full"); },
     {"CreateDirectory(C:\\) failed", "CreateDirectory(C:\\a\\) failed", "C:\\a: cannot open",
      "C:\\a: cannot set reparse point"}},
    {[] { getLinkTarget(u"C:\\link"); },
     {"C:\\link: not a link", "C:\\link: cannot open", "C:\\link: cannot get reparse point"}},
    {[] { createUniqueFile(u"C:\\full\\file"); }, {}},
    {[] { copyFile(u"C:\\full\\file", u"C:\\b", true); },
     {"CreateDirectory(C:\\) failed", "CopyFile(C:\\full\\file, C:\\b, 1) failed"}},
    {[] { copyPersistentFile(u"C:\\full\\file", u"C:\\b"); },
     {"FileUtils::copyPersistentFile(C:\\full\\file, C:\\b, 0) failed. Source file not found."}},
    {[] { moveFile(u"C:\\full\\file", u"C:\\b", false); },
     {"CreateDirectory(C:\\) failed", "MoveFileEx(C:\\full\\file, C:\\b, 3) failed"}},
    {[] { deleteFile(u"C:\\full\\file"); }, {"DeleteFile(C:\\full\\file) failed"}},
    {[] { deleteJunction(u"C:\\link"); },
     {"C:\\link: is not a junction", "RemoveDirectory(C:\\link) failed"}},
    {[] { deleteAll(u"C:\\full"); }, {}},
    {[] {
         std::vector<tstring> found;
         DirectoryIterator(u"C:\\full").findItems(found);
     },
     {"FindFirstFile(C:\\full) failed", "FindNextFile(C:\\full) failed"}},
    {[] { setPermissions(u"C:\\full"); },
     {"ConvertStringSecurityDescriptorToSecurityDescriptor failed",
      "setPermissions(C:\\full) failed"}},
    {[] { getFileVersion(u"C:\\full\\file"); },
     {"GetFileVersionInfoSize(C:\\full\\file) failed", "GetFileVersionInfo(C:\\full\\file) failed",
      "VerQueryValueW(C:\\full\\file, \\) failed"}},
    {[] { SysInfo::getWow64Dir(), SysInfo::getWindowsDir(); },
     {"GetSystemWow64Directory failed", "GetWindowsDirectory failed"}},
    {[] { SysInfo::isWow64(); },
     {"GetSystemDirectory failed", "LoadLibraryW(C:\\Windows\\System32\\kernel32) failed",
      "GetModuleHandleExW(C:\\Windows\\System32\\kernel32) failed", "fnIsWow64Process() failed"}},
    {[] {
         SysInfo::getModulePath(SysInfo::getCurrentModuleHandle());
         SysInfo::SHGetFolderPathAdapter(CSIDL_PROGRAM_FILES_COMMON, 1);
     },
     {"GetModuleHandleExW failed", "GetModuleFileName failed", "SHGetFolderPath(0x2b, mode=1)"}},
    {[] { Guid::generate().toString(); }, {"CoCreateGuid() failed", "StringFromGUID2() failed"}},
    {[] { security::Sid::processOwnerUser().toString(); },
     {"OpenProcessToken failed", "GetTokenInformation (get size) failed",
      "GetTokenInformation failed", "CopySid failed", "ConvertSidToStringSid failed"}},
    {[] { security::isUserAdmin(); },
     {"OpenProcessToken failed", "GetTokenInformation(TokenGroup) failed",
      "ConvertStringSidToSid failed", "CopySid failed"}},
    {[] { security::isProcessElevated(); },
     {"OpenProcessToken failed", "GetTokenInformation failed"}},
    {[] { HKLM64.getString(u"Software\\X\\v"); },
     {"open key (HKLM64\\Software\\X) error", "query value (HKLM64\\Software\\X\\v) error"}},
    {[] {
         HKLM64.setString(u"Software\\X\\v", u"");
         HKLM64.setExpandString(u"Software\\X\\v", u"");
     },
     {"open key (HKLM64\\Software\\X) error", "set string value (HKLM64\\Software\\X\\v) error",
      "set expand string value (HKLM64\\Software\\X\\v) error"}},
    {[] {
         const Registry key(HKLM64, u"Software\\X", Registry::Mode::Read);
         key.getSubkeyNames();
         key.getValueNames();
         key.deleteValue(u"a\\v");
     },
     {"open key (HKLM64\\Software\\X) error", "enum subkeys (HKLM64\\Software\\X\\1) error",
      "enum values (HKLM64\\Software\\X\\1) error", "enum values (HKLM64\\Software\\X\\2) error"}},
    {[] { createShortcutTo(u"C:\\norv.exe"); },
     {"CoCreateInstance(CLSID_ShellLink, IID_IShellLink) failed",
      "IShellLink.SetPath(C:\\norv.exe) failed", "IShellLink.SetArguments(-x) failed",
      "IShellLink.SetIconLocation(C:\\i) failed", "IShellLink.SetDescription(What) failed",
      "IUnknown.QueryInterface(IID_IPersistFile) failed",
      "IPersistFilePtr.Save(C:\\full\\Norv.lnk) failed"}},
    {[] { createShortcutTo(u"https://norv.example/"); },
     {"CoCreateInstance(CLSID_InternetShortcut, IID_IUniformResourceLocator) failed",
      "IUniformResourceLocator.SetURL(https://norv.example/, 0) failed",
      "IUniformResourceLocator.QueryInterface(IID_IShellLink) failed",
      "IShellLink.SetIconLocation(C:\\i) failed", "IShellLink.SetDescription(What) failed",
      "IUnknown.QueryInterface(IID_IPersistFile) failed",
      "IPersistFilePtr.Save(C:\\full\\Norv.url) failed"}},
};

/// What the operation throws when its n-th call, whose name it gives, fails.
std::string thrownAt(const Operation& operation, std::uint64_t n, std::string& failed) {
    simulated::Machine machine;
    machine.volumes.addFile(u"C:\\full\\file");
    machine.volumes.setVersion(u"C:\\full\\file", 1, 2, 3, 4);
    machine.volumes.addJunction(u"C:\\link", u"C:\\full");
    machine.registry.setString(simulated::View::Bits64, u"HKLM\\Software\\X", u"v", u"text");
    const simulated::Running running(machine);
    machine.calls.failCall(n, ERROR_ACCESS_DENIED);
    const std::string text = thrownText(operation.run);
    failed = machine.calls.faultedFunction();
    const std::set<std::string> closers = {"CloseHandle", "RegCloseKey", "FindClose",
                                           "FreeLibrary", "LocalFree",   "_close"};
    EXPECT_TRUE(closers.contains(failed) || machine.handles.open().empty()) << failed;
    EXPECT_EQ(machine.shell.openObjects(), Texts()) << failed;
    machine.handles.closeAll();
    return text.substr(0, std::min(text.find(". System error [5]"), text.find(": COM error 0x80")));
}

TEST(Failures, NameTheCallAndLeaveNothingOpen) {
    for (const Operation& operation : kOperations) {
        Texts thrown;
        std::string failed = "one";
        for (std::uint64_t n = 1; !failed.empty(); ++n) {
            const std::string text = thrownAt(operation, n, failed);
            if (text != "nothing" && std::ranges::find(thrown, text) == thrown.end()) {
                thrown.push_back(text);
            }
        }
        EXPECT_EQ(thrown, operation.thrown);
    }
}

}  // namespace
