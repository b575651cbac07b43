// The shell and COM: command lines, URLs, GUIDs, the start of COM, shortcut files, counted texts.
#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#include <intshcut.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Setting.h"

namespace {

const GUID kGuid = {0x26A24AE4, 0x039D, 0x4CA4, {0x87, 0xB4, 0x2F, 0x64, 0x18, 0x04, 0x51, 0xF0}};

/// Saves a shell object to a file.
HRESULT save(IUnknown* object, const tstring& path) {
    void* file = nullptr;
    EXPECT_EQ(S_OK, object->QueryInterface(IID_IPersistFile, &file));
    const HRESULT result = static_cast<IPersistFile*>(file)->Save(path.c_str(), TRUE);
    EXPECT_EQ(1u, static_cast<IPersistFile*>(file)->Release());
    return result;
}

}  // namespace

TEST(CommandLine, SplitsByQuotesAndBackslashes) {
    using Arguments = std::vector<tstring>;
    const std::pair<const TCHAR*, Arguments> cases[] = {
        {_T("p \t a\t"), {_T("p"), _T("a")}},
        {_T(" a"), {_T(""), _T("a")}},
        // The program's name has rules of its own.
        {_T("\"p q\"r a"), {_T("p q"), _T("r"), _T("a")}},
        {_T("p\"q r\" a"), {_T("p\"q"), _T("r a")}},
        // Backslashes count before a quote only.
        {_T("p a\\b\\\\c \\"), {_T("p"), _T("a\\b\\\\c"), _T("\\")}},
        {_T("p a\\\\\"b c\" d"), {_T("p"), _T("a\\b c"), _T("d")}},
        {_T("p a\\\\\\\"b c"), {_T("p"), _T("a\\\"b"), _T("c")}},
        // Quotes in a row.
        {_T("p a\"\"b c"), {_T("p"), _T("ab"), _T("c")}},
        {_T("p \"a\"\"b c"), {_T("p"), _T("a\"b"), _T("c")}},
        {_T("p \"a\"\"\"b c"), {_T("p"), _T("a\"b c")}},
        {_T("p a\\\"\"b c"), {_T("p"), _T("a\"b c")}},
    };
    for (const auto& [line, expected] : cases) {
        int count = 0;
        LPWSTR* const arguments = CommandLineToArgvW(line, &count);
        EXPECT_EQ(expected, Arguments(arguments, arguments + count))
            << testing::PrintToString(tstring(line));
        EXPECT_EQ(nullptr, arguments[count]);
        EXPECT_EQ(nullptr, LocalFree(arguments));
    }
}

TEST(PathIsURL, KnowsSchemesAndDrives) {
    for (const TCHAR* url : {_T("http://a.test/"), _T("HTTP:a"), _T("mailto:x"), _T("a.b://c")}) {
        EXPECT_TRUE(PathIsURLW(url)) << testing::PrintToString(tstring(url));
    }
    for (const TCHAR* path : {_T(""), _T("a.test"), _T("C:\\x"), _T("C:"), _T("\\\\a\\b"),
                              _T("://a"), _T("/a:b"), _T("a b://c")}) {
        EXPECT_FALSE(PathIsURLW(path)) << testing::PrintToString(tstring(path));
    }
}

TEST(Guids, StringsAreReadAndWritten) {
    TCHAR text[39] = {};
    EXPECT_EQ(0, StringFromGUID2(kGuid, text, 38));
    EXPECT_EQ(39, StringFromGUID2(kGuid, text, 39));
    EXPECT_EQ(tstring(_T("{26A24AE4-039D-4CA4-87B4-2F64180451F0}")), text);
    IID read = {};
    EXPECT_EQ(S_OK, IIDFromString(_T("{26a24ae4-039D-4CA4-87B4-2F64180451F0}"), &read));
    EXPECT_TRUE(read == kGuid);
    for (const TCHAR* bad : {_T(""), _T("26A24AE4-039D-4CA4-87B4-2F64180451F0"),
                             _T("{26A24AE4-039D-4CA4-87B4-2F64180451F0} "),
                             _T("{26A24AE4-039D-4CA4-87B4-2F64180451FG}"),
                             _T("{26A24AE4+039D-4CA4-87B4-2F64180451F0}")}) {
        EXPECT_TRUE(FAILED(IIDFromString(bad, &read))) << testing::PrintToString(tstring(bad));
    }
    GUID made = {};
    EXPECT_EQ(S_OK, CoCreateGuid(&made));
    EXPECT_EQ(4, made.Data3 >> 12);
}

TEST(Com, StartsAreCounted) {
    void* object = &object;
    const auto create = [&](REFCLSID clsid, REFIID iid) {
        return CoCreateInstance(clsid, nullptr, CLSCTX_ALL, iid, &object);
    };
    EXPECT_EQ(CO_E_NOTINITIALIZED, create(CLSID_ShellLink, IID_IShellLinkW));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(S_OK, CoInitialize(nullptr));
    EXPECT_EQ(S_FALSE, CoInitialize(nullptr));
    CoUninitialize();
    EXPECT_EQ(E_NOINTERFACE, create(CLSID_ShellLink, kGuid));
    CoUninitialize();
    EXPECT_EQ(CO_E_NOTINITIALIZED, create(CLSID_ShellLink, IID_IShellLinkW));
}

TEST(Com, AnErrorObjectIsReturnedOnce) {
    leaveErrorInfo(_T("abc"));
    IErrorInfo* info = nullptr;
    BSTR text = nullptr;
    ASSERT_EQ(S_OK, GetErrorInfo(0, &info));
    EXPECT_EQ(S_OK, info->GetDescription(&text));
    EXPECT_EQ(tstring(_T("abc")), text);
    EXPECT_EQ(3u, SysStringLen(text));
    SysFreeString(text);
    EXPECT_EQ(0u, info->Release());
    EXPECT_EQ(S_FALSE, GetErrorInfo(0, &info));
}

TEST(Shortcuts, AreCreatedAndSaved) {
    const tstring path = temporaryPath(_T("conformance.lnk"));
    void* object = nullptr;
    ASSERT_EQ(S_OK, CoInitialize(nullptr));
    ASSERT_EQ(S_OK,
              CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_ALL, IID_IShellLinkW, &object));
    auto* const link = static_cast<IShellLinkW*>(object);
    EXPECT_TRUE(SUCCEEDED(link->SetPath(_T("C:\\none\\target.exe"))));
    EXPECT_EQ(S_OK, link->SetArguments(_T("-tab \"x y\"")));
    EXPECT_EQ(S_OK, link->SetDescription(_T("\x00FC\x65E5 text")));
    EXPECT_EQ(S_OK, link->SetIconLocation(_T("C:\\icons\\i.exe"), 3));
    EXPECT_EQ(E_NOINTERFACE, link->QueryInterface(IID_IUniformResourceLocatorW, &object));
    EXPECT_EQ(nullptr, object);
    EXPECT_EQ(S_OK, save(link, path));
    EXPECT_EQ(S_OK, save(link, path)) << "over the one before";
    EXPECT_TRUE(FAILED(save(link, path + _T("\\x.lnk"))));
    EXPECT_EQ(0u, link->Release());

    ASSERT_EQ(S_OK, CoCreateInstance(CLSID_InternetShortcut, nullptr, CLSCTX_ALL,
                                     IID_IUniformResourceLocatorW, &object));
    auto* const url = static_cast<IUniformResourceLocatorW*>(object);
    EXPECT_EQ(S_OK, url->SetURL(_T("http://a.test/help"), 0));
    EXPECT_EQ(S_OK, save(url, temporaryPath(_T("conformance.url"))));
    EXPECT_EQ(0u, url->Release());
    CoUninitialize();
}

TEST(Shortcuts, AcceptTargetsInQuotesAndNullStrings) {
    void* object = nullptr;
    ASSERT_EQ(S_OK, CoInitialize(nullptr));
    ASSERT_EQ(S_OK,
              CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_ALL, IID_IShellLinkW, &object));
    auto* const link = static_cast<IShellLinkW*>(object);
    EXPECT_EQ(S_OK, link->SetArguments(nullptr));
    EXPECT_EQ(S_OK, link->SetDescription(nullptr));
    EXPECT_EQ(E_INVALIDARG, link->SetPath(nullptr));
    EXPECT_TRUE(SUCCEEDED(link->SetPath(_T("\"C:\\none\\target.exe\""))));
    EXPECT_TRUE(SUCCEEDED(link->SetPath(_T("C:/none/target.exe"))));
    if (!isWine()) {  // which takes single quotes out, as Windows XP did
        EXPECT_EQ(E_INVALIDARG, link->SetPath(_T("\"C:\\none\\target.exe")));
    }
    EXPECT_EQ(0u, link->Release());
    CoUninitialize();
}

TEST(ShellFolders, ExistOrAreCreated) {
    for (const int folder :
         {CSIDL_COMMON_PROGRAMS | CSIDL_FLAG_CREATE, CSIDL_COMMON_PROGRAMS, CSIDL_PROGRAM_FILESX86,
          CSIDL_PROGRAM_FILES_COMMON, CSIDL_PROGRAM_FILES_COMMONX86}) {
        TCHAR path[MAX_PATH] = {};
        EXPECT_EQ(S_OK, SHGetFolderPathW(nullptr, folder, nullptr, 0, path)) << folder;
        EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(path)) << folder;
    }
}
