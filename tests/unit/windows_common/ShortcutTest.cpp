#include "windows/common/Shortcut.h"

#include <functional>
#include <stdexcept>

#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"

namespace {

using Lines = std::vector<std::string>;

class ShortcutTest : public OnMachine {
protected:
    static Shortcut shortcut(const TCHAR* target, std::int32_t fileType = Shortcut::kByTarget) {
        Shortcut result;
        result.name = _T("Norv");
        result.description = _T("What it is");
        result.folder = _T("C:\\Menu\\");
        result.target = target;
        result.arguments = _T("-x");
        result.fileType = fileType;
        result.icon = _T("C:\\norv.exe");
        return result;
    }

    ShortcutTest() { machine.volumes.addDirectory(u"C:\\Menu"); }
};

TEST_F(ShortcutTest, TargetAndTypeDecideOnTheFile) {
    const struct {
        const TCHAR* target;
        std::int32_t fileType;
        const TCHAR* path;
        bool internet;
    } rows[] = {
        {_T("C:\\norv.exe"), 0, _T("C:\\Menu\\Norv.lnk"), false},
        {_T("C:\\norv.exe"), 1, _T("C:\\Menu\\Norv.url"), false},
        {_T("C:\\norv.exe"), 2, _T("C:\\Menu\\Norv.lnk"), false},
        {_T("https://norv.example/"), 0, _T("C:\\Menu\\Norv.url"), true},
        {_T("https://norv.example/"), 1, _T("C:\\Menu\\Norv.url"), true},
        {_T("https://norv.example/"), 2, _T("C:\\Menu\\Norv.lnk"), true},
    };
    const ComInitializer com;
    for (const auto& row : rows) {
        EXPECT_EQ(shortcut(row.target, row.fileType).create(), row.path);
        const auto link = machine.shell.link(row.path);
        ASSERT_TRUE(link);
        const simulated::ShellLink expected = {
            row.internet,     row.target,         row.internet ? _T("") : _T("-x"),
            _T("What it is"), _T("C:\\norv.exe"), 0};
        EXPECT_EQ(*link, expected) << (Text() << row.path).utf8();
        machine.volumes.remove(row.path);
    }
    Shortcut plain = shortcut(_T("C:\\norv.exe"));
    plain.arguments.clear();
    machine.calls.clearJournal();
    plain.create();
    EXPECT_EQ(machine.calls.count("IShellLinkW::SetArguments"), 0u);
}

TEST_F(ShortcutTest, WhatIsNotSetStopsBeforeCom) {
    for (tstring Shortcut::*member :
         {&Shortcut::name, &Shortcut::description, &Shortcut::folder, &Shortcut::target}) {
        Shortcut incomplete = shortcut(_T("C:\\norv.exe"));
        (incomplete.*member).clear();
        EXPECT_EQ(thrownBy<std::logic_error>([&] { incomplete.create(); }),
                  "Shortcut.cpp at Shortcut::create(): Shortcut not configured properly");
    }
    EXPECT_EQ(machine.calls.count("CoCreateInstance"), 0u);
}

TEST_F(ShortcutTest, FailuresNameTheCallAndReleaseEverything) {
    const TCHAR* const file = _T("C:\\norv.exe");
    const TCHAR* const url = _T("https://norv.example/");
    const struct {
        const TCHAR* target;
        const char* function;
        std::uint64_t n;
        const char* message;
    } rows[] = {
        {file, "CoCreateInstance", 1,
         "Shortcut::createLink(): CoCreateInstance(CLSID_ShellLink, IID_IShellLink)"},
        {file, "IShellLinkW::SetPath", 1,
         "Shortcut::createLink(): IShellLink.SetPath(C:\\norv.exe)"},
        {file, "IShellLinkW::SetArguments", 1,
         "Shortcut::createLink(): IShellLink.SetArguments(-x)"},
        {url, "CoCreateInstance", 1,
         "Shortcut::createUrl(): CoCreateInstance(CLSID_InternetShortcut, "
         "IID_IUniformResourceLocator)"},
        {url, "IUniformResourceLocatorW::SetURL", 1,
         "Shortcut::createUrl(): IUniformResourceLocator.SetURL(https://norv.example/, 0)"},
        {url, "QueryInterface", 1,
         "Shortcut::createUrl(): IUniformResourceLocator.QueryInterface(IID_IShellLink)"},
        {file, "IShellLinkW::SetIconLocation", 1,
         "Shortcut::create(): IShellLink.SetIconLocation(C:\\norv.exe)"},
        {url, "IShellLinkW::SetDescription", 1,
         "Shortcut::create(): IShellLink.SetDescription(What it is)"},
        {url, "QueryInterface", 2, "Shortcut::create(): IUnknown.QueryInterface(IID_IPersistFile)"},
        {file, "IPersistFile::Save", 1,
         "Shortcut::create(): IPersistFilePtr.Save(C:\\Menu\\Norv.lnk)"},
    };
    const ComInitializer com;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        machine.calls.failCall(row.function, row.n, ERROR_ACCESS_DENIED);
        EXPECT_EQ(thrownBy<ComError>([&] { shortcut(row.target).create(); }),
                  std::string("Shortcut.cpp at ") + row.message +
                      " failed: COM error 0x80070005 (Access is denied)");
        EXPECT_TRUE(machine.shell.openObjects().empty());
    }
    EXPECT_TRUE(machine.volumes.files(u"C:\\Menu").empty());
}

TEST_F(ShortcutTest, ComIsEndedOnlyWhereItWasStarted) {
    { const ComInitializer com; }
    EXPECT_EQ(machine.calls.count("CoUninitialize"), 1u);
    machine.calls.failCall("CoInitialize", 1, ERROR_ACCESS_DENIED);
    { const ComInitializer com; }
    EXPECT_EQ(machine.calls.count("CoUninitialize"), 1u);
    EXPECT_EQ(log(), Lines{"WARNING ComUtils.cpp ComInitializer::ComInitializer: "
                           "CoInitialize failed with COM error 0x80070005 (Access is denied)"});
}

}  // namespace
