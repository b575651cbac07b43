// Every operation of the Windows layers with each of its calls failed in turn: what it throws names
// that call, what it bears is listed nowhere, and nothing stays open.
#include <shlobj.h>

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

/// A failure that is thrown: the call, and the text up to the status.
struct Thrown {
    const char* function;
    const char* text;
};

struct Operation {
    const char* name;
    std::function<void()> run;
    std::vector<Thrown> failures;
};

Shortcut shortcutTo(const TCHAR* target) {
    return {u"Norv", u"What it is", u"C:\\full", target, u"-x", Shortcut::kByTarget, u"C:\\icon"};
}

/// "C:\" can't be made; that this is no failure has to be asked.
const Thrown kNoRoot = {"GetFileAttributesW",
                        "FileUtils.cpp at FileUtils::`anonymous-namespace'::createDir(): "
                        "CreateDirectory(C:\\) failed"};

const std::vector<Thrown> kSystemDirectory = {
    {"GetSystemDirectoryW",
     "SysInfo.cpp at SysInfo::getSystemDirImpl(): GetSystemDirectory failed"},
    {"LoadLibraryW",
     "Dll.cpp at `anonymous-namespace'::loadLibrary(): "
     "LoadLibraryW(C:\\Windows\\System32\\kernel32) failed"},
    {"GetModuleHandleExW",
     "Dll.cpp at Dll::Dll(): GetModuleHandleExW(C:\\Windows\\System32\\kernel32) failed"},
};

std::vector<Thrown> with(std::vector<Thrown> failures, const Thrown& one) {
    failures.push_back(one);
    return failures;
}

const Operation kOperations[] = {
    {"isSamePath",
     [] { isSamePath(u"C:\\full", u"C:\\full"); },
     {{"GetFullPathNameW",
       "FileUtils.cpp at `anonymous-namespace'::absolutePath(): GetFullPathName failed"},
      {"GetLongPathNameW",
       "FileUtils.cpp at `anonymous-namespace'::convertShortPathToLong(): "
       "GetLongPathName failed"}}},
    {"createDirectories",
     [] { createDirectories(u"C:\\a/b"); },
     {kNoRoot,
      {"CreateDirectoryW",
       "FileUtils.cpp at FileUtils::`anonymous-namespace'::createDir(): "
       "CreateDirectory(C:\\a/) failed"},
      {"CreateDirectoryW",
       "FileUtils.cpp at FileUtils::`anonymous-namespace'::createDir(): "
       "CreateDirectory(C:\\a/b\\) failed"}}},
    {"createJunction",
     [] { createJunction(u"C:\\a", u"C:\\full"); },
     {kNoRoot,
      {"CreateDirectoryW",
       "FileUtils.cpp at FileUtils::`anonymous-namespace'::createDir(): "
       "CreateDirectory(C:\\a\\) failed"},
      {"CreateFileW", "FileUtils.cpp at FileUtils::createJunction(): C:\\a: cannot open"},
      {"DeviceIoControl",
       "FileUtils.cpp at FileUtils::createJunction(): C:\\a: cannot set reparse point"}}},
    {"getLinkTarget",
     [] { getLinkTarget(u"C:\\link"); },
     {{"GetFileAttributesW", "FileUtils.cpp at FileUtils::getLinkTarget(): C:\\link: not a link"},
      {"GetFileAttributesW", "FileUtils.cpp at FileUtils::getLinkTarget(): C:\\link: cannot open"},
      {"CreateFileW", "FileUtils.cpp at FileUtils::getLinkTarget(): C:\\link: cannot open"},
      {"DeviceIoControl",
       "FileUtils.cpp at FileUtils::getLinkTarget(): C:\\link: cannot get reparse point"}}},
    {"createUniqueFile", [] { createUniqueFile(u"C:\\full\\file"); }, {}},
    {"copyFile",
     [] { copyFile(u"C:\\full\\file", u"C:\\b", true); },
     {kNoRoot,
      {"CopyFileW",
       "FileUtils.cpp at FileUtils::copyFile(): CopyFile(C:\\full\\file, C:\\b, 1) failed"}}},
    {"copyPersistentFile",
     [] { copyPersistentFile(u"C:\\full\\file", u"C:\\b"); },
     {{"GetFileAttributesW",
       "FileUtils.cpp at FileUtils::copyPersistentFile(): FileUtils::copyPersistentFile("
       "C:\\full\\file, C:\\b, 0) failed. Source file not found."}}},
    {"moveFile",
     [] { moveFile(u"C:\\full\\file", u"C:\\b", false); },
     {kNoRoot,
      {"MoveFileExW",
       "FileUtils.cpp at FileUtils::`anonymous-namespace'::moveFileImpl(): "
       "MoveFileEx(C:\\full\\file, C:\\b, 3) failed"}}},
    {"deleteFile",
     [] { deleteFile(u"C:\\full\\file"); },
     {{"DeleteFileW",
       "FileUtils.cpp at FileUtils::deleteFile(): DeleteFile(C:\\full\\file) failed"}}},
    {"deleteJunction",
     [] { deleteJunction(u"C:\\link"); },
     {{"GetFileAttributesW",
       "FileUtils.cpp at FileUtils::deleteJunction(): C:\\link: is not a junction"},
      {"RemoveDirectoryW",
       "FileUtils.cpp at FileUtils::deleteDirectory(): RemoveDirectory(C:\\link) failed"}}},
    {"deleteAll", [] { deleteAll(u"C:\\full"); }, {}},
    {"findItems",
     [] {
         std::vector<tstring> found;
         DirectoryIterator(u"C:\\full").findItems(found);
     },
     {{"FindFirstFileW",
       "FileUtils.cpp at FileUtils::iterateDirectory(): FindFirstFile(C:\\full) failed"},
      {"FindNextFileW",
       "FileUtils.cpp at FileUtils::iterateDirectory(): FindNextFile(C:\\full) failed"}}},
    {"setPermissions",
     [] { setPermissions(u"C:\\full"); },
     {{"ConvertStringSecurityDescriptorToSecurityDescriptorW",
       "Security.cpp at security::SecurityDescriptor::SecurityDescriptor(): "
       "ConvertStringSecurityDescriptorToSecurityDescriptor failed"},
      {"SetFileSecurityW",
       "FileUtils.cpp at FileUtils::setPermissions(): setPermissions(C:\\full) failed"}}},
    {"getFileVersion",
     [] { getFileVersion(u"C:\\full\\file"); },
     {{"GetFileVersionInfoSizeW",
       "FileUtils.cpp at VersionResource::VersionResource(): "
       "GetFileVersionInfoSize(C:\\full\\file) failed"},
      {"GetFileVersionInfoW",
       "FileUtils.cpp at VersionResource::VersionResource(): "
       "GetFileVersionInfo(C:\\full\\file) failed"},
      {"VerQueryValueW",
       "FileUtils.cpp at `anonymous-namespace'::readResourceRecord(): "
       "VerQueryValueW(C:\\full\\file, \\) failed"}}},
    {"getWow64Dir",
     [] { SysInfo::getWow64Dir(); },
     {{"GetSystemWow64DirectoryW",
       "SysInfo.cpp at SysInfo::getSystemDirImpl(): GetSystemWow64Directory failed"}}},
    {"getWindowsDir",
     [] { SysInfo::getWindowsDir(); },
     {{"GetWindowsDirectoryW",
       "SysInfo.cpp at SysInfo::getSystemDirImpl(): GetWindowsDirectory failed"}}},
    {"isWow64", [] { SysInfo::isWow64(); },
     with(kSystemDirectory,
          {"IsWow64Process", "SysInfo.cpp at SysInfo::isWow64(): fnIsWow64Process() failed"})},
    {"getModulePath",
     [] { SysInfo::getModulePath(nullptr); },
     {{"GetModuleFileNameW",
       "SysInfo.cpp at SysInfo::`anonymous-namespace'::getModulePath(): "
       "GetModuleFileName failed"}}},
    {"getCurrentModuleHandle",
     [] { SysInfo::getCurrentModuleHandle(); },
     {{"GetModuleHandleExW",
       "SysInfo.cpp at SysInfo::getCurrentModuleHandle(): GetModuleHandleExW failed"}}},
    {"SHGetFolderPathAdapter",
     [] { SysInfo::SHGetFolderPathAdapter(CSIDL_PROGRAM_FILES_COMMON, 1); },
     {{"SHGetFolderPathW",
       "SysInfo.cpp at SysInfo::SHGetFolderPathAdapter(): SHGetFolderPath(0x2b, mode=1)"}}},
    {"Dll",
     [] {
         const Dll first(u"kernel32");
         const Dll second(first);
     },
     kSystemDirectory},
    {"Guid::generate",
     [] { Guid::generate(); },
     {{"CoCreateGuid", "Guid.cpp at Guid::generate(): CoCreateGuid() failed"}}},
    {"Guid::toString",
     [] { Guid().toString(); },
     {{"StringFromGUID2", "Guid.cpp at Guid::toString(): StringFromGUID2() failed"}}},
    {"processOwnerUser",
     [] { security::Sid::processOwnerUser().toString(); },
     {{"OpenProcessToken",
       "Security.cpp at security::`anonymous-namespace'::processToken(): OpenProcessToken failed"},
      {"GetTokenInformation",
       "Security.cpp at security::Sid::processOwnerUser(): GetTokenInformation (get size) failed"},
      {"GetTokenInformation",
       "Security.cpp at security::Sid::processOwnerUser(): GetTokenInformation failed"},
      {"CopySid", "Security.cpp at security::Sid::fromPSID(): CopySid failed"},
      {"ConvertSidToStringSidW",
       "Security.cpp at security::Sid::toString(): ConvertSidToStringSid failed"}}},
    {"isUserAdmin",
     [] { security::isUserAdmin(); },
     {{"OpenProcessToken",
       "Security.cpp at security::`anonymous-namespace'::processToken(): OpenProcessToken failed"},
      {"GetTokenInformation",
       "Security.cpp at security::isUserAdmin(): GetTokenInformation(TokenGroup) failed"},
      {"ConvertStringSidToSidW",
       "Security.cpp at security::Sid::Sid(): ConvertStringSidToSid failed"},
      {"CopySid", "Security.cpp at security::Sid::Sid(): CopySid failed"}}},
    {"isProcessElevated",
     [] { security::isProcessElevated(); },
     {{"OpenProcessToken",
       "Security.cpp at security::isProcessElevated(): OpenProcessToken failed"},
      {"GetTokenInformation",
       "Security.cpp at security::isProcessElevated(): GetTokenInformation failed"}}},
    {"Registry::getString",
     [] { HKLM64.getString(u"Software\\X\\v"); },
     {{"RegOpenKeyExW", "Registry.cpp at Registry::open(): open key (HKLM64\\Software\\X) error"},
      {"RegQueryValueExW",
       "Registry.cpp at Registry::getValue(): query value (HKLM64\\Software\\X\\v) error"}}},
    {"Registry::setString",
     [] { HKLM64.setString(u"Software\\X\\v", u""); },
     {{"RegCreateKeyExW", "Registry.cpp at Registry::open(): open key (HKLM64\\Software\\X) error"},
      {"RegSetValueExW",
       "Registry.cpp at Registry::setString(): set string value (HKLM64\\Software\\X\\v) error"}}},
    {"Registry::setExpandString",
     [] { HKLM64.setExpandString(u"Software\\X\\v", u""); },
     {{"RegCreateKeyExW", "Registry.cpp at Registry::open(): open key (HKLM64\\Software\\X) error"},
      {"RegSetValueExW",
       "Registry.cpp at Registry::setExpandString(): "
       "set expand string value (HKLM64\\Software\\X\\v) error"}}},
    {"Registry::deleteValue", [] { HKLM64.deleteValue(u"Software\\X\\v"); }, {}},
    {"Registry::getSubkeyNames",
     [] { HKLM64.getSubkeyNames(); },
     {{"RegEnumKeyExW",
       "Registry.cpp at Registry::getSubkeyNames(): enum subkeys (HKLM64\\1) error"},
      {"RegEnumKeyExW",
       "Registry.cpp at Registry::getSubkeyNames(): enum subkeys (HKLM64\\2) error"},
      {"RegEnumKeyExW",
       "Registry.cpp at Registry::getSubkeyNames(): enum subkeys (HKLM64\\3) error"}}},
    {"Registry::getValueNames",
     [] { HKLM64.getValueNames(); },
     {{"RegEnumValueW",
       "Registry.cpp at Registry::getValueNames(): enum values (HKLM64\\1) error"}}},
    {"Shortcut to a file",
     [] {
         const ComInitializer com;
         shortcutTo(u"C:\\norv.exe").create();
     },
     {{"CoInitialize",
       "Shortcut.cpp at Shortcut::createLink(): "
       "CoCreateInstance(CLSID_ShellLink, IID_IShellLink) failed"},
      {"CoCreateInstance",
       "Shortcut.cpp at Shortcut::createLink(): "
       "CoCreateInstance(CLSID_ShellLink, IID_IShellLink) failed"},
      {"IShellLinkW::SetPath",
       "Shortcut.cpp at Shortcut::createLink(): IShellLink.SetPath(C:\\norv.exe) failed"},
      {"IShellLinkW::SetArguments",
       "Shortcut.cpp at Shortcut::createLink(): IShellLink.SetArguments(-x) failed"},
      {"IShellLinkW::SetIconLocation",
       "Shortcut.cpp at Shortcut::create(): IShellLink.SetIconLocation(C:\\icon) failed"},
      {"IShellLinkW::SetDescription",
       "Shortcut.cpp at Shortcut::create(): IShellLink.SetDescription(What it is) failed"},
      {"QueryInterface",
       "Shortcut.cpp at Shortcut::create(): IUnknown.QueryInterface(IID_IPersistFile) failed"},
      {"IPersistFile::Save",
       "Shortcut.cpp at Shortcut::create(): IPersistFilePtr.Save(C:\\full\\Norv.lnk) failed"}}},
    {"Shortcut to a site",
     [] {
         const ComInitializer com;
         shortcutTo(u"https://norv.example/").create();
     },
     {{"CoInitialize",
       "Shortcut.cpp at Shortcut::createUrl(): "
       "CoCreateInstance(CLSID_InternetShortcut, IID_IUniformResourceLocator) failed"},
      {"CoCreateInstance",
       "Shortcut.cpp at Shortcut::createUrl(): "
       "CoCreateInstance(CLSID_InternetShortcut, IID_IUniformResourceLocator) failed"},
      {"IUniformResourceLocatorW::SetURL",
       "Shortcut.cpp at Shortcut::createUrl(): "
       "IUniformResourceLocator.SetURL(https://norv.example/, 0) failed"},
      {"QueryInterface",
       "Shortcut.cpp at Shortcut::createUrl(): "
       "IUniformResourceLocator.QueryInterface(IID_IShellLink) failed"},
      {"IShellLinkW::SetIconLocation",
       "Shortcut.cpp at Shortcut::create(): IShellLink.SetIconLocation(C:\\icon) failed"},
      {"IShellLinkW::SetDescription",
       "Shortcut.cpp at Shortcut::create(): IShellLink.SetDescription(What it is) failed"},
      {"QueryInterface",
       "Shortcut.cpp at Shortcut::create(): IUnknown.QueryInterface(IID_IPersistFile) failed"},
      {"IPersistFile::Save",
       "Shortcut.cpp at Shortcut::create(): IPersistFilePtr.Save(C:\\full\\Norv.url) failed"}}},
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
        SCOPED_TRACE(operation.name);
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
                const std::string_view known = failure.text;
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
