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

#include "Inspection.h"

namespace {

const GUID kGuid = {0x26A24AE4, 0x039D, 0x4CA4, {0x87, 0xB4, 0x2F, 0x64, 0x18, 0x04, 0x51, 0xF0}};

std::vector<tstring> splitCommandLine(const tstring& line) {
    int count = 0;
    LPWSTR* const arguments = CommandLineToArgvW(line.c_str(), &count);
    std::vector<tstring> result(arguments, arguments + count);
    EXPECT_EQ(nullptr, arguments[count]);
    EXPECT_EQ(nullptr, LocalFree(arguments));
    return result;
}

/// A path in the temporary directory that nothing stands at.
tstring freePath(const TCHAR* name) {
    TCHAR directory[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, directory);
    const tstring path = tstring(directory) + name;
    DeleteFileW(path.c_str());
    return path;
}

/// A new shell object.
template <class Interface>
Interface* make(REFCLSID clsid, REFIID iid) {
    void* object = nullptr;
    EXPECT_EQ(S_OK, CoCreateInstance(clsid, nullptr, CLSCTX_ALL, iid, &object));
    return static_cast<Interface*>(object);
}

IPersistFile* fileOf(IUnknown* object) {
    void* file = nullptr;
    EXPECT_EQ(S_OK, object->QueryInterface(IID_IPersistFile, &file));
    return static_cast<IPersistFile*>(file);
}

class Shortcuts : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(SUCCEEDED(CoInitialize(nullptr))); }
    void TearDown() override { CoUninitialize(); }
};

}  // namespace

TEST(CommandLine, SplitsByQuotesAndBackslashes) {
    using Arguments = std::vector<tstring>;
    const std::pair<const TCHAR*, Arguments> cases[] = {
        {_T("p \t a\t"), {_T("p"), _T("a")}},
        {_T(" a"), {_T(""), _T("a")}},
        // The program's name has rules of its own.
        {_T("\"p q\" a"), {_T("p q"), _T("a")}},
        {_T("\"p\"q a"), {_T("p"), _T("q"), _T("a")}},
        {_T("p\"q r\" a"), {_T("p\"q"), _T("r a")}},
        // Backslashes count in front of a quote alone.
        {_T("p a\\b\\\\c \\"), {_T("p"), _T("a\\b\\\\c"), _T("\\")}},
        {_T("p a\\\\\"b c\" d"), {_T("p"), _T("a\\b c"), _T("d")}},
        {_T("p a\\\\\\\"b c"), {_T("p"), _T("a\\\"b"), _T("c")}},
        {_T("p \"C:\\x y\\\\\" z"), {_T("p"), _T("C:\\x y\\"), _T("z")}},
        // Quotes in a row.
        {_T("p a\"\"b c"), {_T("p"), _T("ab"), _T("c")}},
        {_T("p \"a\"\"b c"), {_T("p"), _T("a\"b"), _T("c")}},
        {_T("p \"a\"\"\"b c"), {_T("p"), _T("a\"b c")}},
        {_T("p a\\\"\"b c"), {_T("p"), _T("a\"b c")}},
    };
    for (const auto& [line, arguments] : cases) {
        EXPECT_EQ(arguments, splitCommandLine(line)) << testing::PrintToString(tstring(line));
    }
    // The program stands for itself in an empty line.
    EXPECT_EQ(1u, splitCommandLine(_T("")).size());
    EXPECT_EQ(nullptr, CommandLineToArgvW(_T("p"), nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(PathIsURL, KnowsSchemesAndDrives) {
    for (const TCHAR* url : {_T("http://a.test/"), _T("https://a.test"), _T("HTTP:a"),
                             _T("mailto:x"), _T("file:///c:/x")}) {
        EXPECT_TRUE(PathIsURLW(url)) << testing::PrintToString(tstring(url));
    }
    for (const TCHAR* path : {_T(""), _T("a.test"), _T("C:\\x"), _T("C:"), _T("\\\\a\\b"),
                              _T("://a"), _T("/a:b"), _T("a b://c")}) {
        EXPECT_FALSE(PathIsURLW(path)) << testing::PrintToString(tstring(path));
    }
    EXPECT_FALSE(PathIsURLW(nullptr));
}

TEST(Guids, TextsReadAndWritten) {
    TCHAR text[39] = {};
    EXPECT_EQ(39, StringFromGUID2(kGuid, text, 39));
    EXPECT_EQ(tstring(_T("{26A24AE4-039D-4CA4-87B4-2F64180451F0}")), text);
    EXPECT_EQ(0, StringFromGUID2(kGuid, text, 38));
    IID read = {};
    EXPECT_EQ(S_OK, IIDFromString(_T("{26a24ae4-039D-4CA4-87B4-2F64180451F0}"), &read));
    EXPECT_TRUE(read == kGuid);
    for (const TCHAR* bad :
         {_T(""), _T("x"), _T("26A24AE4-039D-4CA4-87B4-2F64180451F0"),
          _T("{26A24AE4-039D-4CA4-87B4-2F64180451F0} "),
          _T("{26A24AE4-039D-4CA4-87B4-2F64180451F}"), _T("{26A24AE4-039D-4CA4-87B4-2F64180451FG}"),
          _T("{26A24AE4+039D-4CA4-87B4-2F64180451F0}"),
          _T("{26A24AE40039D-4CA4-87B4-2F64180451F0}")}) {
        EXPECT_TRUE(FAILED(IIDFromString(bad, &read))) << testing::PrintToString(tstring(bad));
    }
    GUID first = {};
    GUID second = {};
    EXPECT_EQ(S_OK, CoCreateGuid(&first));
    EXPECT_EQ(S_OK, CoCreateGuid(&second));
    EXPECT_FALSE(first == second);
    EXPECT_EQ(4, first.Data3 >> 12);
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
    EXPECT_EQ(REGDB_E_CLASSNOTREG, create(kGuid, IID_IShellLinkW));
    EXPECT_EQ(E_NOINTERFACE, create(CLSID_ShellLink, kGuid));
    CoUninitialize();
    EXPECT_EQ(CO_E_NOTINITIALIZED, create(CLSID_ShellLink, IID_IShellLinkW));
}

TEST(CountedText, KnowsItsLength) {
    IErrorInfo* info = nullptr;
    EXPECT_EQ(S_FALSE, GetErrorInfo(0, &info)) << "without a failure there is no error's text";
    // What SysAllocString makes: the length in bytes, the text, a NUL.
    struct {
        DWORD length = 6;
        TCHAR text[4] = _T("abc");
    } counted;
    EXPECT_EQ(3u, SysStringLen(counted.text));
    EXPECT_EQ(0u, SysStringLen(nullptr));
    SysFreeString(nullptr);
}

TEST_F(Shortcuts, LinksAreSavedWhole) {
    const tstring path = freePath(_T("conformance.lnk"));
    const tstring target = freePath(_T("target.exe"));
    const tstring missing = freePath(_T("no such folder")) + _T("\\x.lnk");
    auto* const link = make<IShellLinkW>(CLSID_ShellLink, IID_IShellLinkW);
    EXPECT_TRUE(SUCCEEDED(link->SetPath(target.c_str())));
    EXPECT_EQ(S_OK, link->SetArguments(_T("-tab")));
    EXPECT_EQ(S_OK, link->SetDescription(_T("\x00FC\x65E5 text")));
    EXPECT_EQ(S_OK, link->SetIconLocation(_T("C:\\icons\\i.exe"), 3));
    void* none = &none;
    EXPECT_EQ(E_NOINTERFACE, link->QueryInterface(IID_IUniformResourceLocatorW, &none));
    EXPECT_EQ(nullptr, none);
    IPersistFile* const file = fileOf(link);
    EXPECT_EQ(S_OK, file->Save(path.c_str(), TRUE));
    EXPECT_EQ(S_OK, link->SetArguments(_T("-tab \"x y\"")));
    EXPECT_EQ(S_OK, file->Save(path.c_str(), TRUE)) << "over the one before";
    EXPECT_TRUE(FAILED(file->Save(missing.c_str(), TRUE)));
    EXPECT_EQ(1u, file->Release());
    EXPECT_EQ(0u, link->Release());
    EXPECT_TRUE((SavedLink{target, _T("-tab \"x y\""), _T("\x00FC\x65E5 text"),
                           _T("C:\\icons\\i.exe"), 3}) == savedLink(path));
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST_F(Shortcuts, InternetShortcutsKeepTheirUrl) {
    const tstring path = freePath(_T("conformance.url"));
    auto* const url =
        make<IUniformResourceLocatorW>(CLSID_InternetShortcut, IID_IUniformResourceLocatorW);
    EXPECT_EQ(S_OK, url->SetURL(_T("http://a.test/help"), 0));
    IPersistFile* const file = fileOf(url);
    EXPECT_EQ(S_OK, file->Save(path.c_str(), TRUE));
    file->Release();
    EXPECT_EQ(0u, url->Release());
    EXPECT_EQ(_T("http://a.test/help"), savedUrl(path));
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST(ShellFolders, ExistAndAreMade) {
    for (const int folder : {CSIDL_COMMON_PROGRAMS, CSIDL_PROGRAM_FILESX86,
                             CSIDL_PROGRAM_FILES_COMMON, CSIDL_PROGRAM_FILES_COMMONX86}) {
        for (const int flag : {CSIDL_FLAG_CREATE, 0}) {
            TCHAR path[MAX_PATH] = {};
            EXPECT_EQ(S_OK,
                      SHGetFolderPathW(nullptr, folder | flag, nullptr, SHGFP_TYPE_CURRENT, path))
                << folder;
            EXPECT_NE(INVALID_FILE_ATTRIBUTES, GetFileAttributesW(path)) << folder;
        }
    }
}
