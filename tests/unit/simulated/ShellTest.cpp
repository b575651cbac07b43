// The simulated shell, COM and desktop, where Windows itself can't be asked: other Windows, faults,
// what is held and left behind, what was shown and sent.
#include <windows.h>
#include <intshcut.h>
#include <oleauto.h>
#include <shellapi.h>
#include <shlobj.h>

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"
#include "simulated/machine/Wide.h"

using namespace simulated;

namespace {

class ShellTest : public testing::Test {
protected:
    Machine machine_;
    Running running_{machine_};

    template <class Interface>
    Interface* make(REFCLSID clsid, REFIID iid) {
        void* object = nullptr;
        EXPECT_EQ(S_OK, CoCreateInstance(clsid, nullptr, CLSCTX_ALL, iid, &object));
        return static_cast<Interface*>(object);
    }

    template <class Interface>
    Interface* ask(IUnknown* object, REFIID iid) {
        void* found = nullptr;
        EXPECT_EQ(S_OK, object->QueryInterface(iid, &found));
        return static_cast<Interface*>(found);
    }

    std::string folder(int number) {
        WCHAR path[MAX_PATH] = {};
        const HRESULT result = SHGetFolderPathW(nullptr, number, nullptr, SHGFP_TYPE_CURRENT, path);
        return result == S_OK ? toUtf8(path) : "failed";
    }
};

}  // namespace

TEST_F(ShellTest, FoldersDependOnWindowsAndProcess) {
    struct {
        bool system64;
        bool process64;
        int folder;
        const char* path;
    } const cases[] = {
        {true, true, CSIDL_PROGRAM_FILES, "C:\\Program Files"},
        {true, true, CSIDL_PROGRAM_FILESX86, "C:\\Program Files (x86)"},
        {true, true, CSIDL_PROGRAM_FILES_COMMON, "C:\\Program Files\\Common Files"},
        {true, true, CSIDL_PROGRAM_FILES_COMMONX86, "C:\\Program Files (x86)\\Common Files"},
        {true, false, CSIDL_PROGRAM_FILES, "C:\\Program Files (x86)"},
        {true, false, CSIDL_PROGRAM_FILESX86, "C:\\Program Files (x86)"},
        {true, false, CSIDL_PROGRAM_FILES_COMMON, "C:\\Program Files (x86)\\Common Files"},
        {true, false, CSIDL_PROGRAM_FILES_COMMONX86, "C:\\Program Files (x86)\\Common Files"},
        {false, false, CSIDL_PROGRAM_FILESX86, "C:\\Program Files"},
        {false, false, CSIDL_PROGRAM_FILES_COMMON, "C:\\Program Files\\Common Files"},
        {false, false, CSIDL_PROGRAM_FILES_COMMONX86, "C:\\Program Files\\Common Files"},
        {false, false, CSIDL_COMMON_PROGRAMS,
         "C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs"},
    };
    for (const auto& c : cases) {
        Machine machine;
        const Running running(machine);
        machine.facts.is64BitSystem = c.system64;
        machine.facts.is64BitProcess = c.process64;
        EXPECT_EQ(c.path, folder(c.folder | CSIDL_FLAG_CREATE)) << c.path;
        EXPECT_TRUE(machine.volumes.isDirectory(fromUtf8(c.path))) << c.path;
    }
}

TEST_F(ShellTest, FolderThatIsMissingOrCannotBeMade) {
    WCHAR path[MAX_PATH] = {};
    machine_.shell.setFolder(CSIDL_PROGRAM_FILES_COMMON, u"C:\\Moved\\Common");
    const auto get = [&](int folder, DWORD flags) {
        return SHGetFolderPathW(nullptr, folder, nullptr, flags, path);
    };
    EXPECT_EQ(E_FAIL, get(CSIDL_PROGRAM_FILES_COMMON, SHGFP_TYPE_CURRENT));
    EXPECT_EQ(u'\0', path[0]);
    EXPECT_EQ(S_OK, get(CSIDL_PROGRAM_FILES_COMMON | CSIDL_FLAG_DONT_VERIFY, 0));
    EXPECT_FALSE(machine_.volumes.exists(u"C:\\Moved"));
    machine_.volumes.addFile(u"C:\\Moved");
    EXPECT_TRUE(FAILED(get(CSIDL_PROGRAM_FILES_COMMON | CSIDL_FLAG_CREATE, 0)));
    machine_.volumes.remove(u"C:\\Moved");
    EXPECT_EQ(S_OK, get(CSIDL_PROGRAM_FILES_COMMON | CSIDL_FLAG_CREATE, 0));
    EXPECT_EQ(std::u16string(u"C:\\Moved\\Common"), path);
    EXPECT_TRUE(machine_.volumes.isDirectory(path));
    EXPECT_EQ(E_INVALIDARG, get(0xFE, 0));
    EXPECT_EQ(E_INVALIDARG, get(CSIDL_PROGRAM_FILES, 2));
}

TEST_F(ShellTest, ShortcutsAreReadBackByTests) {
    ASSERT_EQ(S_OK, CoInitialize(nullptr));
    auto* const link = make<IShellLinkW>(CLSID_ShellLink, IID_IShellLinkW);
    link->SetPath(u"C:\\a b\\ü.exe");
    link->SetArguments(u"-x=\"1\"");
    link->SetIconLocation(u"C:\\i.exe", 2);
    auto* const file = ask<IPersistFile>(link, IID_IPersistFile);
    EXPECT_EQ(S_OK, file->Save(u"C:\\one.lnk", TRUE));
    file->Release();
    link->Release();

    auto* const locator =
        make<IUniformResourceLocatorW>(CLSID_InternetShortcut, IID_IUniformResourceLocatorW);
    locator->SetURL(u"http://a.test/?b=c", 0);
    auto* const asLink = ask<IShellLinkW>(locator, IID_IShellLinkW);
    locator->Release();
    asLink->SetDescription(u"tells");
    auto* const urlFile = ask<IPersistFile>(asLink, IID_IPersistFile);
    EXPECT_EQ(S_OK, urlFile->Save(u"C:\\two.lnk", TRUE));
    urlFile->Release();
    asLink->Release();
    CoUninitialize();

    const Shell& shell = machine_.shell;
    EXPECT_EQ((ShellLink{false, u"C:\\a b\\ü.exe", u"-x=\"1\"", u"", u"C:\\i.exe", 2}),
              shell.link(u"C:\\one.lnk"));
    EXPECT_EQ((ShellLink{true, u"http://a.test/?b=c", u"", u"tells", u"", 0}),
              shell.link(u"C:\\two.lnk"));
    EXPECT_EQ(
        "[ShellLink]\r\nTarget=C:\\a b\\\xC3\xBC.exe\r\nArguments=-x=\"1\"\r\n"
        "IconFile=C:\\i.exe\r\nIconIndex=2\r\n",
        machine_.volumes.content(u"C:\\one.lnk"));
    machine_.volumes.addFile(u"C:\\no.lnk", "text");
    EXPECT_EQ(std::nullopt, shell.link(u"C:\\no.lnk"));
    EXPECT_EQ(std::nullopt, shell.link(u"C:\\missing.lnk"));
    EXPECT_EQ(std::vector<std::string>(), shell.openObjects());
    EXPECT_EQ(0, shell.comStarts());
}

TEST_F(ShellTest, InternetShortcutMayLackTheShellLink) {
    machine_.shell.internetShortcutIsShellLink = false;
    CoInitialize(nullptr);
    auto* const locator =
        make<IUniformResourceLocatorW>(CLSID_InternetShortcut, IID_IUniformResourceLocatorW);
    void* link = &link;
    EXPECT_EQ(E_NOINTERFACE, locator->QueryInterface(IID_IShellLinkW, &link));
    EXPECT_EQ(nullptr, link);
    locator->SetURL(u"http://a", 0);
    EXPECT_EQ(std::vector<std::string>{"internet shortcut to http://a"},
              machine_.shell.openObjects());
    EXPECT_EQ(1, machine_.shell.comStarts());
    machine_.endProcess();
    EXPECT_EQ(std::vector<std::string>(), machine_.shell.openObjects());
    EXPECT_EQ(0, machine_.shell.comStarts());
}

TEST_F(ShellTest, ShortcutFileThatCannotBeWritten) {
    CoInitialize(nullptr);
    auto* const file = make<IPersistFile>(CLSID_ShellLink, IID_IPersistFile);
    machine_.volumes.addFile(u"C:\\read.lnk", "kept");
    machine_.volumes.setReadOnly(u"C:\\read.lnk");
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), file->Save(u"C:\\read.lnk", TRUE));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), file->Save(u"C:\\none\\a.lnk", TRUE));
    EXPECT_EQ(E_FAIL, file->Save(nullptr, TRUE));
    EXPECT_EQ("kept", machine_.volumes.content(u"C:\\read.lnk"));
    file->Release();
    CoUninitialize();
}

TEST_F(ShellTest, FaultsAreFailingResults) {
    CoInitialize(nullptr);
    auto* const link = make<IShellLinkW>(CLSID_ShellLink, IID_IShellLinkW);
    auto* const file = ask<IPersistFile>(link, IID_IPersistFile);
    void* object = nullptr;
    GUID guid = {};
    WCHAR text[MAX_PATH] = {};
    const std::pair<const char*, std::function<HRESULT()>> cases[] = {
        {"CoInitialize", [&] { return CoInitialize(nullptr); }},
        {"CoCreateInstance",
         [&] {
             return CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_ALL, IID_IUnknown, &object);
         }},
        {"CoCreateGuid", [&] { return CoCreateGuid(&guid); }},
        {"IIDFromString",
         [&] { return IIDFromString(u"{00000000-0000-0000-0000-000000000000}", &guid); }},
        {"SHGetFolderPathW",
         [&] { return SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILES, nullptr, 0, text); }},
        {"QueryInterface", [&] { return link->QueryInterface(IID_IPersistFile, &object); }},
        {"IShellLinkW::SetPath", [&] { return link->SetPath(u"x"); }},
        {"IShellLinkW::SetArguments", [&] { return link->SetArguments(u"x"); }},
        {"IShellLinkW::SetDescription", [&] { return link->SetDescription(u"x"); }},
        {"IShellLinkW::SetIconLocation", [&] { return link->SetIconLocation(u"x", 0); }},
        {"IPersistFile::Save", [&] { return file->Save(u"C:\\x.lnk", TRUE); }},
    };
    for (const auto& [function, call] : cases) {
        machine_.calls.failCall(function, 1);
        EXPECT_TRUE(FAILED(call())) << function;
        machine_.calls.failCall(function, 1, ERROR_ACCESS_DENIED);
        EXPECT_EQ(E_ACCESSDENIED, call()) << function;
        machine_.calls.failCall(function, 1, static_cast<DWORD>(E_NOTIMPL));
        EXPECT_EQ(E_NOTIMPL, call()) << function;
    }
    EXPECT_FALSE(machine_.volumes.exists(u"C:\\x.lnk"));
    machine_.calls.failCall("StringFromGUID2", 1);
    EXPECT_EQ(0, StringFromGUID2(guid, text, 39));
    int count = 0;
    machine_.calls.failCall("CommandLineToArgvW", 1);
    EXPECT_EQ(nullptr, CommandLineToArgvW(u"a", &count));
    EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, GetLastError());

    // Whatever is asked of a stopped process, its objects are given back.
    machine_.calls.stopAtCall(1);
    EXPECT_TRUE(FAILED(file->Save(u"C:\\x.lnk", TRUE)));
    EXPECT_EQ(1u, file->Release());
    EXPECT_EQ(0u, link->Release());
    EXPECT_FALSE(machine_.volumes.exists(u"C:\\x.lnk"));
    EXPECT_EQ(std::vector<std::string>(), machine_.shell.openObjects());
}

TEST_F(ShellTest, ErrorObjectIsTakenOnce) {
    machine_.shell.setErrorInfo(u"what went wrong");
    IErrorInfo* info = nullptr;
    EXPECT_EQ(E_INVALIDARG, GetErrorInfo(1, &info));
    ASSERT_EQ(S_OK, GetErrorInfo(0, &info));
    BSTR text = nullptr;
    EXPECT_EQ(S_OK, info->GetDescription(&text));
    EXPECT_EQ(u"what went wrong", std::u16string(text, SysStringLen(text)));
    SysFreeString(text);
    EXPECT_EQ(std::vector<std::string>{"error object"}, machine_.shell.openObjects());
    EXPECT_EQ(0u, info->Release());
    EXPECT_EQ(S_FALSE, GetErrorInfo(0, &info));
    EXPECT_EQ(nullptr, info);
}

TEST_F(ShellTest, BoxesAndBroadcastsAreRecorded) {
    Desktop& desktop = machine_.desktop;
    std::u16string seen;
    desktop.onMessageBox = [&](const MessageBox& box) { seen = box.text; };
    EXPECT_EQ(IDOK, MessageBoxW(nullptr, u"text", u"title", MB_OK | MB_ICONERROR));
    EXPECT_EQ(u"text", seen);
    desktop.hasDisplay = false;
    EXPECT_EQ(0, MessageBoxW(nullptr, u"unseen", nullptr, MB_OK));
    EXPECT_EQ(u"text", seen);
    ASSERT_EQ(2u, desktop.messageBoxes.size());
    EXPECT_EQ(u"title", desktop.messageBoxes[0].caption);
    EXPECT_EQ(UINT{MB_ICONERROR}, desktop.messageBoxes[0].type);

    DWORD_PTR answer = 7;
    const auto send = [&] {
        return SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0,
                                   reinterpret_cast<LPARAM>(u"Environment"), SMTO_ABORTIFHUNG, 5000,
                                   &answer);
    };
    EXPECT_NE(0, send());
    desktop.hangs = true;
    EXPECT_EQ(0, send());
    EXPECT_EQ(DWORD{ERROR_TIMEOUT}, GetLastError());
    machine_.calls.failCall("SendMessageTimeoutW", 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(0, send());
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    ASSERT_EQ(2u, desktop.broadcasts.size());
    EXPECT_EQ(u"Environment", desktop.broadcasts[0].text);
    EXPECT_EQ(HWND_BROADCAST, desktop.broadcasts[0].window);
    EXPECT_EQ(5000u, desktop.broadcasts[0].timeout);
}
