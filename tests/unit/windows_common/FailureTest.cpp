// Every operation of the Windows layers with each of its calls failed in turn: what it throws names
// that call, what it bears is listed nowhere, and nothing stays open.
#include <shlobj.h>

#include <algorithm>
#include <set>
#include <functional>

#include "simulated/machine/VersionBlock.h"
#include "support/OnMachine.h"
#include "windows/common/DirectoryIterator.h"
#include "windows/common/Dll.h"
#include "windows/common/FileUtils.h"
#include "windows/common/Guid.h"
#include "windows/common/Registry.h"
#include "windows/common/Resources.h"
#include "windows/common/Security.h"
#include "windows/common/Shortcut.h"
#include "windows/common/SysInfo.h"
#include "windows/common/VersionResource.h"

namespace {

using namespace FileUtils;
using simulated::View;
using Mode = Registry::Mode;

/// A failure that is thrown: the call, and the text up to the status, behind the operation's place
/// unless it has a place of its own.
struct Thrown {
    const char* function;
    std::string text;
};

struct Operation {
    std::string place;
    std::function<void()> run;
    std::vector<Thrown> failures;
};

Shortcut shortcutTo(const TCHAR* target) {
    return {u"Norv", u"What it is", u"C:\\full", target, u"-x", Shortcut::kByTarget, u"C:\\icon"};
}

const std::string kFiles = "FileUtils.cpp at FileUtils::";
const std::string kOpen = "Registry.cpp at Registry::open(): open key (HKLM64\\Software\\X) error";
const std::string kToken =
    "Security.cpp at security::`anonymous-namespace'::processToken(): OpenProcessToken failed";
const std::string kDelete = kFiles + "deleteDirectory(): RemoveDirectory(C:\\link) failed";
const std::string kNewDirectory =
    "FileUtils.cpp at FileUtils::`anonymous-namespace'::createDir(): CreateDirectory(C:\\";
/// "C:\\" can't be made; that this is no failure has to be asked.
const Thrown kNoRoot = {"GetFileAttributesW", kNewDirectory + ") failed"};

const Thrown kNoDirectory = {
    "GetSystemDirectoryW", "SysInfo.cpp at SysInfo::getSystemDirImpl(): GetSystemDirectory failed"};
const Thrown kNoLibrary = {"LoadLibraryW",
                           "Dll.cpp at `anonymous-namespace'::loadLibrary(): "
                           "LoadLibraryW(C:\\Windows\\System32\\kernel32) failed"};
const Thrown kNoReference = {"GetModuleHandleExW",
                             "Dll.cpp at Dll::Dll(): "
                             "GetModuleHandleExW(C:\\Windows\\System32\\kernel32) failed"};

const Operation kOperations[] = {
    {"FileUtils.cpp at `anonymous-namespace'::",
     [] { isSamePath(u"C:\\full", u"C:\\full"); },
     {{"GetFullPathNameW", "absolutePath(): GetFullPathName failed"},
      {"GetLongPathNameW", "convertShortPathToLong(): GetLongPathName failed"}}},
    {kNewDirectory,
     [] { createDirectories(u"C:\\a/b"); },
     {kNoRoot, {"CreateDirectoryW", "a/) failed"}, {"CreateDirectoryW", "a/b\\) failed"}}},
    {kFiles + "createJunction(): C:\\a: cannot ",
     [] { createJunction(u"C:\\a", u"C:\\full"); },
     {kNoRoot,
      {"CreateDirectoryW", kNewDirectory + "a\\) failed"},
      {"CreateFileW", "open"},
      {"DeviceIoControl", "set reparse point"}}},
    {kFiles + "getLinkTarget(): C:\\link: ",
     [] { getLinkTarget(u"C:\\link"); },
     {{"GetFileAttributesW", "not a link"},
      {"GetFileAttributesW", "cannot open"},
      {"CreateFileW", "cannot open"},
      {"DeviceIoControl", "cannot get reparse point"}}},
    {"", [] { createUniqueFile(u"C:\\full\\file"); }, {}},
    {kFiles + "copyFile(): ",
     [] { copyFile(u"C:\\full\\file", u"C:\\b", true); },
     {kNoRoot, {"CopyFileW", "CopyFile(C:\\full\\file, C:\\b, 1) failed"}}},
    {kFiles + "copyPersistentFile(): FileUtils::copyPersistentFile(",
     [] { copyPersistentFile(u"C:\\full\\file", u"C:\\b"); },
     {{"GetFileAttributesW", "C:\\full\\file, C:\\b, 0) failed. Source file not found."}}},
    {kFiles + "`anonymous-namespace'::moveFileImpl(): ",
     [] { moveFile(u"C:\\full\\file", u"C:\\b", false); },
     {kNoRoot, {"MoveFileExW", "MoveFileEx(C:\\full\\file, C:\\b, 3) failed"}}},
    {kFiles + "deleteFile(): ",
     [] { deleteFile(u"C:\\full\\file"); },
     {{"DeleteFileW", "DeleteFile(C:\\full\\file) failed"}}},
    {kFiles + "deleteJunction(): ",
     [] { deleteJunction(u"C:\\link"); },
     {{"GetFileAttributesW", "C:\\link: is not a junction"}, {"RemoveDirectoryW", kDelete}}},
    {"", [] { deleteAll(u"C:\\full"); }, {}},
    {kFiles + "iterateDirectory(): ",
     [] {
         std::vector<tstring> found;
         DirectoryIterator(u"C:\\full").findItems(found);
     },
     {{"FindFirstFileW", "FindFirstFile(C:\\full) failed"},
      {"FindNextFileW", "FindNextFile(C:\\full) failed"}}},
    {kFiles + "setPermissions(): ",
     [] { setPermissions(u"C:\\full"); },
     {{"ConvertStringSecurityDescriptorToSecurityDescriptorW",
       "Security.cpp at security::SecurityDescriptor::SecurityDescriptor(): "
       "ConvertStringSecurityDescriptorToSecurityDescriptor failed"},
      {"SetFileSecurityW", "setPermissions(C:\\full) failed"}}},
    {"FileUtils.cpp at VersionResource::VersionResource(): ",
     [] { getFileVersion(u"C:\\full\\file"); },
     {{"GetFileVersionInfoSizeW", "GetFileVersionInfoSize(C:\\full\\file) failed"},
      {"GetFileVersionInfoW", "GetFileVersionInfo(C:\\full\\file) failed"},
      {"VerQueryValueW",
       "FileUtils.cpp at `anonymous-namespace'::readResourceRecord(): "
       "VerQueryValueW(C:\\full\\file, \\) failed"}}},
    {"SysInfo.cpp at SysInfo::getSystemDirImpl(): ",
     [] { SysInfo::getWow64Dir() + SysInfo::getWindowsDir(); },
     {{"GetSystemWow64DirectoryW", "GetSystemWow64Directory failed"},
      {"GetWindowsDirectoryW", "GetWindowsDirectory failed"}}},
    {"SysInfo.cpp at SysInfo::isWow64(): ",
     [] { SysInfo::isWow64(); },
     {kNoDirectory, kNoLibrary, kNoReference, {"IsWow64Process", "fnIsWow64Process() failed"}}},
    {"SysInfo.cpp at SysInfo::",
     [] {
         SysInfo::getModulePath(SysInfo::getCurrentModuleHandle());
         SysInfo::SHGetFolderPathAdapter(CSIDL_PROGRAM_FILES_COMMON, 1);
     },
     {{"GetModuleFileNameW", "`anonymous-namespace'::getModulePath(): GetModuleFileName failed"},
      {"GetModuleHandleExW", "getCurrentModuleHandle(): GetModuleHandleExW failed"},
      {"SHGetFolderPathW", "SHGetFolderPathAdapter(): SHGetFolderPath(0x2b, mode=1)"}}},
    {"Guid.cpp at Guid::",
     [] { Guid::generate().toString(); },
     {{"CoCreateGuid", "generate(): CoCreateGuid() failed"},
      {"StringFromGUID2", "toString(): StringFromGUID2() failed"}}},
    {"Security.cpp at security::Sid::",
     [] { security::Sid::processOwnerUser().toString(); },
     {{"OpenProcessToken", kToken},
      {"GetTokenInformation", "processOwnerUser(): GetTokenInformation (get size) failed"},
      {"GetTokenInformation", "processOwnerUser(): GetTokenInformation failed"},
      {"CopySid", "fromPSID(): CopySid failed"},
      {"ConvertSidToStringSidW", "toString(): ConvertSidToStringSid failed"}}},
    {"Security.cpp at security::",
     [] { security::isUserAdmin(); },
     {{"OpenProcessToken", kToken},
      {"GetTokenInformation", "isUserAdmin(): GetTokenInformation(TokenGroup) failed"},
      {"ConvertStringSidToSidW", "Sid::Sid(): ConvertStringSidToSid failed"},
      {"CopySid", "Sid::Sid(): CopySid failed"}}},
    {"Security.cpp at security::isProcessElevated(): ",
     [] { security::isProcessElevated(); },
     {{"OpenProcessToken", "OpenProcessToken failed"},
      {"GetTokenInformation", "GetTokenInformation failed"}}},
    {"Registry.cpp at Registry::getValue(): ",
     [] { HKLM64.getString(u"Software\\X\\v"); },
     {{"RegOpenKeyExW", kOpen},
      {"RegQueryValueExW", "query value (HKLM64\\Software\\X\\v) error"}}},
    {"Registry.cpp at Registry::",
     [] {
         HKLM64.setString(u"Software\\X\\v", u"");
         HKLM64.setExpandString(u"Software\\X\\v", u"");
     },
     {{"RegCreateKeyExW", kOpen},
      {"RegSetValueExW", "setString(): set string value (HKLM64\\Software\\X\\v) error"},
      {"RegSetValueExW",
       "setExpandString(): set expand string value (HKLM64\\Software\\X\\v) error"}}},
    {"Registry.cpp at Registry::",
     [] {
         const Registry key(HKLM64, u"Software\\X", Mode::Read);
         key.getSubkeyNames();
         key.getValueNames();
         key.deleteValue(u"a\\v");
     },
     {{"RegOpenKeyExW", kOpen},
      {"RegEnumKeyExW", "getSubkeyNames(): enum subkeys (HKLM64\\Software\\X\\1) error"},
      {"RegEnumValueW", "getValueNames(): enum values (HKLM64\\Software\\X\\1) error"},
      {"RegEnumValueW", "getValueNames(): enum values (HKLM64\\Software\\X\\2) error"}}},
    {"Shortcut.cpp at Shortcut::",
     [] {
         const ComInitializer com;
         shortcutTo(u"C:\\norv.exe").create();
     },
     {{"CoInitialize", "createLink(): CoCreateInstance(CLSID_ShellLink, IID_IShellLink) failed"},
      {"CoCreateInstance",
       "createLink(): CoCreateInstance(CLSID_ShellLink, IID_IShellLink) failed"},
      {"IShellLinkW::SetPath", "createLink(): IShellLink.SetPath(C:\\norv.exe) failed"},
      {"IShellLinkW::SetArguments", "createLink(): IShellLink.SetArguments(-x) failed"},
      {"IShellLinkW::SetIconLocation", "create(): IShellLink.SetIconLocation(C:\\icon) failed"},
      {"IShellLinkW::SetDescription", "create(): IShellLink.SetDescription(What it is) failed"},
      {"QueryInterface", "create(): IUnknown.QueryInterface(IID_IPersistFile) failed"},
      {"IPersistFile::Save", "create(): IPersistFilePtr.Save(C:\\full\\Norv.lnk) failed"}}},
    {"Shortcut.cpp at Shortcut::create",
     [] {
         const ComInitializer com;
         Shortcut site = shortcutTo(u"https://norv.example/");
         site.create();
     },
     {{"CoInitialize",
       "Url(): CoCreateInstance(CLSID_InternetShortcut, IID_IUniformResourceLocator) failed"},
      {"CoCreateInstance",
       "Url(): CoCreateInstance(CLSID_InternetShortcut, IID_IUniformResourceLocator) failed"},
      {"IUniformResourceLocatorW::SetURL",
       "Url(): IUniformResourceLocator.SetURL(https://norv.example/, 0) failed"},
      {"QueryInterface", "Url(): IUniformResourceLocator.QueryInterface(IID_IShellLink) failed"},
      {"IShellLinkW::SetIconLocation", "(): IShellLink.SetIconLocation(C:\\icon) failed"},
      {"IShellLinkW::SetDescription", "(): IShellLink.SetDescription(What it is) failed"},
      {"QueryInterface", "(): IUnknown.QueryInterface(IID_IPersistFile) failed"},
      {"IPersistFile::Save", "(): IPersistFilePtr.Save(C:\\full\\Norv.url) failed"}}},
};

void arrange(simulated::Machine& machine) {
    machine.volumes.addFile(u"C:\\full\\file");
    machine.volumes.setVersion(u"C:\\full\\file", 1, 2, 3, 4);
    machine.volumes.addJunction(u"C:\\link", u"C:\\full");
    machine.registry.setString(View::Bits64, u"HKLM\\Software\\X", u"v", u"text");
}

/// What the operation throws when its n-th call fails; nothing of it is left open.
std::string thrownAt(const Operation& operation, std::uint64_t n, std::string& failed) {
    simulated::Machine machine;
    arrange(machine);
    const simulated::Running running(machine);
    machine.calls.failCall(n, ERROR_ACCESS_DENIED);
    std::string text;
    try {
        operation.run();
    } catch (const std::exception& e) {
        text = withoutLines(e.what());
    }
    failed = machine.calls.faultedFunction();
    const std::set<std::string> closers = {"CloseHandle", "RegCloseKey", "FindClose",
                                           "FreeLibrary", "LocalFree",   "_close"};
    if (!closers.contains(failed)) {
        EXPECT_EQ(machine.handles.open(), std::vector<std::string>()) << failed;
    }
    EXPECT_EQ(machine.shell.openObjects(), std::vector<std::string>()) << failed;
    EXPECT_FALSE(machine.volumes.isDirectory(u"C:\\a") && failed == "DeviceIoControl");
    machine.handles.closeAll();
    return text;
}

TEST(Failures, NameTheCallAndLeaveNothingOpen) {
    // What may stand behind the text: the status, in the words of the kind of call.
    const std::set<std::string> statuses = {
        "", ". System error [5](system error 5 (Access is denied))", ". System error [5]",
        ": COM error 0x80070005 (Access is denied)",
        ": COM error 0x800401F0 (CoInitialize has not been called)"};
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.place);
        std::set<std::string> missing;
        for (const Thrown& failure : operation.failures) {
            missing.insert(failure.text);
        }
        for (std::uint64_t n = 1;; ++n) {
            std::string failed;
            const std::string text = thrownAt(operation, n, failed);
            if (failed.empty()) {
                EXPECT_EQ(text, "") << "nothing failed";
                break;
            }
            const bool isTold = std::ranges::any_of(operation.failures, [&](const Thrown& failure) {
                const std::string known = failure.text.find(" at ") == std::string::npos
                                              ? operation.place + failure.text
                                              : failure.text;
                const bool tells = failure.function == failed && text.starts_with(known) &&
                                   statuses.contains(text.substr(known.size()));
                if (tells) {
                    missing.erase(failure.text);
                }
                return tells;
            });
            EXPECT_EQ(isTold, !text.empty()) << n << " " << failed << ": " << text;
        }
        EXPECT_EQ(missing, std::set<std::string>());
    }
}

}  // namespace
