#include <windows.h>
#include <shlwapi.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "Setting.h"

namespace {

const TCHAR* const kRoot = _T("Software\\NorvConformance");

/// A key that is made if it is missing, and closed at the end of its scope.
class Key {
public:
    Key(HKEY parent, const tstring& path, REGSAM access = KEY_ALL_ACCESS) {
        EXPECT_EQ(create(parent, path, access, key_), ERROR_SUCCESS);
    }
    ~Key() { EXPECT_EQ(RegCloseKey(key_), ERROR_SUCCESS); }
    Key(const Key&) = delete;

    static LSTATUS create(HKEY parent, const tstring& path, REGSAM access, HKEY& made) {
        return RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, access, nullptr, &made,
                               nullptr);
    }
    operator HKEY() const { return key_; }

private:
    HKEY key_ = nullptr;
};

LSTATUS openStatus(HKEY parent, const tstring& path, REGSAM access = KEY_READ) {
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(parent, path.c_str(), 0, access, &key);
    if (status == ERROR_SUCCESS) {
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }
    return status;
}

bool exists(HKEY parent, const tstring& path, REGSAM view = 0) {
    return openStatus(parent, path, KEY_READ | view) == ERROR_SUCCESS;
}

LSTATUS setText(HKEY key, const TCHAR* name, const tstring& text) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(TCHAR)));
}

LSTATUS queryStatus(HKEY key, const TCHAR* name) {
    return RegQueryValueExW(key, name, nullptr, nullptr, nullptr, nullptr);
}

/// Names a subkey or a value, by one of the two functions that enumerate.
template <class Enumerate>
LSTATUS nameStatus(Enumerate* enumerate, HKEY key, std::size_t index, tstring& name) {
    TCHAR buffer[256] = {};
    DWORD size = 256;
    const LSTATUS status = enumerate(key, static_cast<DWORD>(index), buffer, &size, nullptr,
                                     nullptr, nullptr, nullptr);
    name.assign(buffer, size);
    return status;
}

std::vector<tstring> subkeys(HKEY key) {
    std::vector<tstring> names;
    tstring name;
    while (nameStatus(RegEnumKeyExW, key, names.size(), name) == ERROR_SUCCESS) {
        names.push_back(name);
    }
    return names;
}

class RegistryTest : public testing::Test {
protected:
    ~RegistryTest() override { RegDeleteTreeW(HKEY_CURRENT_USER, kRoot); }

    const Key key{HKEY_CURRENT_USER, kRoot};
    tstring name;
};

TEST_F(RegistryTest, ValuesKeepTypeAndBytes) {
    const std::tuple<const TCHAR*, DWORD, std::vector<BYTE>> kCases[] = {
        {_T(""), REG_SZ, {'d', 0, 0, 0}},
        {_T("no end"), REG_EXPAND_SZ, {'a', 0}},
        {_T("empty"), REG_SZ, {}},
        {_T("strange"), 0x1234, {7}},
    };
    for (const auto& [valueName, valueType, data] : kCases) {
        SCOPED_TRACE(valueType);
        const auto size = static_cast<DWORD>(data.size());
        std::vector<BYTE> given = data;
        given.resize(size + 2, '#');
        ASSERT_EQ(RegSetValueExW(key, valueName, 0, valueType, given.data(), size), ERROR_SUCCESS);
        // Without a buffer, and with one that is too small, the size alone is returned.
        DWORD type = 99;
        DWORD found = 0;
        EXPECT_EQ(RegQueryValueExW(key, valueName, nullptr, &type, nullptr, &found), ERROR_SUCCESS);
        EXPECT_EQ(type, valueType);
        EXPECT_EQ(found, size);
        BYTE buffer[16] = {};
        EXPECT_EQ(RegQueryValueExW(key, valueName, nullptr, nullptr, buffer, &found),
                  ERROR_SUCCESS);
        EXPECT_EQ(std::vector<BYTE>(buffer, buffer + found), data);
        if (size > 0) {
            found = size - 1;
            EXPECT_EQ(RegQueryValueExW(key, valueName, nullptr, nullptr, buffer, &found),
                      ERROR_MORE_DATA);
            EXPECT_EQ(found, size);
        }
    }
    // A string without a terminator gets one where the buffer has space.
    TCHAR text[3] = {_T('#'), _T('#'), _T('#')};
    DWORD size = sizeof(text);
    RegQueryValueExW(key, _T("no end"), nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size);
    EXPECT_EQ(tstring(text, 3), tstring({_T('a'), _T('\0'), _T('#')}));
    EXPECT_EQ(queryStatus(key, _T("missing")), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, NamesKeepTheirCaseAndIgnoreIt) {
    Key(key, _T("Mixed\\Case"));
    EXPECT_EQ(setText(key, _T("Value"), _T("1")), ERROR_SUCCESS);
    EXPECT_EQ(setText(key, _T("vALUE"), _T("2")), ERROR_SUCCESS);
    EXPECT_TRUE(exists(key, _T("mIXED\\cASE")));
    EXPECT_EQ(nameStatus(RegEnumValueW, key, 0, name), ERROR_SUCCESS);
    EXPECT_EQ(name, _T("Value"));
    EXPECT_EQ(nameStatus(RegEnumValueW, key, 1, name), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(RegDeleteValueW(key, _T("VALUE")), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(key, _T("VALUE")), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, SubkeysAreEnumeratedInTheOrderOfTheirNames) {
    for (const TCHAR* const made : {_T("b"), _T("C"), _T("a_x"), _T("a1"), _T("A")}) {
        Key(key, made);
    }
    EXPECT_EQ(subkeys(key), (std::vector<tstring>{_T("A"), _T("a1"), _T("a_x"), _T("b"), _T("C")}));
    EXPECT_EQ(nameStatus(RegEnumKeyExW, key, 5, name), ERROR_NO_MORE_ITEMS);
}

TEST_F(RegistryTest, AHandleRefusesWhatItWasNotOpenedFor) {
    const Key reading(key, _T(""), KEY_READ);
    EXPECT_EQ(setText(reading, _T("x"), _T("y")), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueW(reading, _T("x")), ERROR_ACCESS_DENIED);
    const Key setting(key, _T(""), KEY_SET_VALUE);
    EXPECT_EQ(setText(setting, _T("x"), _T("y")), ERROR_SUCCESS);
    EXPECT_EQ(queryStatus(setting, _T("x")), ERROR_ACCESS_DENIED);
    EXPECT_EQ(nameStatus(RegEnumKeyExW, setting, 0, name), ERROR_ACCESS_DENIED);
    EXPECT_EQ(nameStatus(RegEnumValueW, setting, 0, name), ERROR_ACCESS_DENIED);
    // The rights of the handle don't matter for creating and deleting a subkey.
    Key(reading, _T("made"));
    EXPECT_EQ(RegDeleteKeyW(reading, _T("made")), ERROR_SUCCESS);
}

TEST_F(RegistryTest, PathsMayRepeatAndEndInSeparators) {
    const Key below(key, _T("a\\b"));
    const std::pair<tstring, LSTATUS> kCases[] = {{_T("a\\b\\"), ERROR_SUCCESS},
                                                  {_T("a\\\\b"), ERROR_SUCCESS},
                                                  {_T("\\a"), ERROR_BAD_PATHNAME},
                                                  {_T("a/b"), ERROR_FILE_NOT_FOUND},
                                                  {_T("a\\c"), ERROR_FILE_NOT_FOUND}};
    for (const auto& [path, status] : kCases) {
        EXPECT_EQ(openStatus(key, path), status) << testing::PrintToString(path);
    }
    Key(key, tstring(255, _T('n')));
    EXPECT_EQ(subkeys(key).back().size(), 255u);
    if (!isWine()) {  // which has no limit; by Microsoft's "Registry Element Size Limits"
        HKEY made = nullptr;
        EXPECT_EQ(Key::create(key, tstring(256, _T('n')), KEY_READ, made), ERROR_INVALID_PARAMETER);
    }
}

TEST_F(RegistryTest, AKeyWithSubkeysIsNotDeleted) {
    Key(key, _T("a\\b"));
    EXPECT_EQ(RegDeleteKeyW(key, _T("a")), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyExW(key, _T("a"), 0, 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyExW(key, _T("a\\b"), 0, 0), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(key, _T("a")), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(key, _T("a")), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, TreesAreEmptied) {
    constexpr REGSAM kRights = KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE;
    // The SDK's headers differ in the type of a status.
    const std::function<LSTATUS(HKEY)> kCalls[] = {
        [](HKEY tree) { return RegDeleteTreeW(tree, nullptr); },
        [](HKEY tree) { return static_cast<LSTATUS>(SHDeleteKeyW(tree, _T(""))); }};
    for (const auto& empty : kCalls) {
        const Key tree(key, _T("tree"), kRights | DELETE);
        setText(tree, _T("x"), _T("y"));
        Key(tree, _T("a\\b"));
        Key(tree, _T("c"));
        EXPECT_EQ(empty(tree), ERROR_SUCCESS);
        EXPECT_TRUE(subkeys(tree).empty());
        EXPECT_EQ(queryStatus(tree, _T("x")), ERROR_FILE_NOT_FOUND);
    }
    // Wine checks no rights; these are the ones of Microsoft's "RegDeleteTreeW function".
    const Key lacking(key, _T("tree"), kRights);
    EXPECT_EQ(RegDeleteTreeW(lacking, nullptr), isWine() ? ERROR_SUCCESS : ERROR_ACCESS_DENIED);
}

TEST_F(RegistryTest, EveryCallOnADeletedKeyFails) {
    const Key gone(key, _T("gone"));
    ASSERT_EQ(RegDeleteKeyW(key, _T("gone")), ERROR_SUCCESS);
    Key(key, _T("gone"));  // another key
    HKEY made = nullptr;
    EXPECT_EQ(queryStatus(gone, nullptr), ERROR_KEY_DELETED);
    EXPECT_EQ(setText(gone, _T("x"), _T("y")), ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteValueW(gone, _T("x")), ERROR_KEY_DELETED);
    EXPECT_EQ(nameStatus(RegEnumKeyExW, gone, 0, name), ERROR_KEY_DELETED);
    EXPECT_EQ(openStatus(gone, _T("sub")), ERROR_KEY_DELETED);
    EXPECT_EQ(Key::create(gone, _T("sub"), KEY_READ, made), ERROR_KEY_DELETED);
}

/// The size of a value's data, in bytes.
DWORD sizeOfValue(HKEY key, const TCHAR* name) {
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(key, name, nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    return size;
}

TEST_F(RegistryTest, AStringIsStoredWithTheTerminatorThatFollowsIt) {
    const TCHAR kText[] = _T("abc");
    struct {
        const TCHAR* name;
        DWORD type;
        DWORD size;
        DWORD stored;
    } const kCases[] = {
        {.name = _T("a string"), .type = REG_SZ, .size = 6, .stored = 8},
        {.name = _T("a string to be expanded"), .type = REG_EXPAND_SZ, .size = 6, .stored = 8},
        {.name = _T("a list"), .type = REG_MULTI_SZ, .size = 6, .stored = 8},
        {.name = _T("no terminator follows"), .type = REG_SZ, .size = 4, .stored = 4},
        {.name = _T("the terminator is counted"), .type = REG_SZ, .size = 8, .stored = 8},
        {.name = _T("half a character is missing"), .type = REG_SZ, .size = 5, .stored = 5},
        {.name = _T("bytes"), .type = REG_BINARY, .size = 6, .stored = 6},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(testing::PrintToString(tstring(test.name)));
        EXPECT_EQ(RegSetValueExW(key, test.name, 0, test.type, reinterpret_cast<const BYTE*>(kText),
                                 test.size),
                  ERROR_SUCCESS);
        EXPECT_EQ(sizeOfValue(key, test.name), test.stored);
    }
}

TEST_F(RegistryTest, AValueWithoutDataButWithASizeIsRefused) {
    EXPECT_EQ(RegSetValueExW(key, _T("x"), 0, REG_SZ, nullptr, 4), ERROR_NOACCESS);
    EXPECT_EQ(RegSetValueExW(key, _T("x"), 0, REG_SZ, nullptr, 0), ERROR_SUCCESS);
}

TEST_F(RegistryTest, EnumerationWithAShortNameBufferReturnsTypeAndSize) {
    EXPECT_EQ(setText(key, _T("name"), _T("text")), ERROR_SUCCESS);
    TCHAR buffer[] = {_T('#'), _T('#'), _T('\0')};
    BYTE data[16] = {'#'};
    DWORD nameSize = 2;
    DWORD type = 99;
    DWORD size = sizeof(data);
    EXPECT_EQ(RegEnumValueW(key, 0, buffer, &nameSize, nullptr, &type, data, &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(tstring(buffer), _T("##"));
    EXPECT_EQ(nameSize, 2u);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(size, 10u);
    EXPECT_EQ(data[0], BYTE{'#'});
}

TEST_F(RegistryTest, AFailedOpeningReturnsNoHandle) {
    const std::pair<HKEY, const TCHAR*> kCases[] = {
        {key, _T("missing")}, {key, _T("\\a")}, {nullptr, _T("a")}, {nullptr, _T("")}};
    for (const auto& [parent, path] : kCases) {
        HKEY opened = key;
        EXPECT_NE(RegOpenKeyExW(parent, path, 0, KEY_READ, &opened), ERROR_SUCCESS);
        EXPECT_EQ(opened, nullptr) << testing::PrintToString(tstring(path));
    }
}

TEST_F(RegistryTest, DeletingRefusesAPathThatStartsWithASeparator) {
    Key(key, _T("a"));
    EXPECT_EQ(RegDeleteKeyW(key, _T("\\a")), ERROR_BAD_PATHNAME);
    EXPECT_EQ(RegDeleteKeyExW(key, _T("\\a"), 0, 0), ERROR_BAD_PATHNAME);
    EXPECT_EQ(RegDeleteTreeW(key, _T("\\a")), ERROR_BAD_PATHNAME);
    EXPECT_EQ(static_cast<LSTATUS>(SHDeleteKeyW(key, _T("\\a"))), ERROR_BAD_PATHNAME);
    EXPECT_TRUE(exists(key, _T("a")));
}

TEST_F(RegistryTest, EnumerationReflectsSubkeysAddedAndDeletedMeanwhile) {
    for (const TCHAR* const made : {_T("b"), _T("d"), _T("f")}) {
        Key(key, made);
    }
    EXPECT_EQ(nameStatus(RegEnumKeyExW, key, 1, name), ERROR_SUCCESS);
    EXPECT_EQ(name, _T("d"));
    Key(key, _T("a"));
    EXPECT_EQ(nameStatus(RegEnumKeyExW, key, 2, name), ERROR_SUCCESS);
    EXPECT_EQ(name, _T("d"));
    EXPECT_EQ(RegDeleteKeyW(key, _T("b")), ERROR_SUCCESS);
    EXPECT_EQ(nameStatus(RegEnumKeyExW, key, 2, name), ERROR_SUCCESS);
    EXPECT_EQ(name, _T("f"));
    EXPECT_EQ(nameStatus(RegEnumKeyExW, key, 0, name), ERROR_SUCCESS);
    EXPECT_EQ(name, _T("a"));
}

// The machine's part of the registry, in both views.

bool in64(const tstring& path) {
    return exists(HKEY_LOCAL_MACHINE, path, KEY_WOW64_64KEY);
}

bool in32(const tstring& path) {
    return exists(HKEY_LOCAL_MACHINE, path, KEY_WOW64_32KEY);
}

TEST(RegistryViewTest, TheMachinesSoftwareHasTwoViewsOnA64BitWindows) {
    const bool two = isWindows64Bit();
    Key(HKEY_LOCAL_MACHINE, kRoot, KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(in32(kRoot));
    EXPECT_EQ(in64(kRoot), !two);
    EXPECT_EQ(exists(HKEY_LOCAL_MACHINE, kRoot), !isProgram64Bit()) << "the default view";
    EXPECT_EQ(in64(_T("Software\\Wow6432Node\\NorvConformance")), two);
    EXPECT_EQ(in32(_T("Software\\Wow6432Node\\NorvConformance")), two);
    EXPECT_EQ(RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kRoot, KEY_WOW64_64KEY, 0),
              two ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS);
    Key(HKEY_LOCAL_MACHINE, kRoot, KEY_READ | KEY_WOW64_64KEY);
    EXPECT_EQ(RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kRoot, KEY_WOW64_32KEY, 0), ERROR_SUCCESS);
    EXPECT_EQ(in64(kRoot), two);
    EXPECT_FALSE(in32(kRoot));
}

TEST(RegistryViewTest, PathsBelowAKeyOfAViewStayInThatView) {
    Key(HKEY_LOCAL_MACHINE, _T("Software\\Norv\\sub"), KEY_READ | KEY_WOW64_32KEY);
    const Key in32Bit(HKEY_LOCAL_MACHINE, _T("Software\\Norv"), KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(exists(in32Bit, _T("sub")));
    EXPECT_TRUE(exists(in32Bit, _T("sub"), KEY_WOW64_32KEY));
    const Key in64Bit(HKEY_LOCAL_MACHINE, _T("Software\\Norv"), KEY_READ | KEY_WOW64_64KEY);
    EXPECT_EQ(exists(in64Bit, _T("sub")), !isWindows64Bit());
    const Key software(HKEY_LOCAL_MACHINE, _T("Software"), KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(exists(software, _T("Norv\\sub"), KEY_WOW64_32KEY));
}

TEST(RegistryViewTest, TheThirtyTwoBitViewHasNoWow6432NodeOfItsOwn) {
    Key(HKEY_LOCAL_MACHINE, _T("Software\\Norv\\sub"), KEY_READ | KEY_WOW64_32KEY);
    const Key software(HKEY_LOCAL_MACHINE, _T("Software"), KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(exists(software, _T("Norv\\sub")));
    EXPECT_FALSE(exists(software, _T("Wow6432Node\\Norv")));
    EXPECT_FALSE(exists(software, _T("Wow6432Node\\Norv"), KEY_WOW64_32KEY));
    EXPECT_FALSE(exists(software, _T("Wow6432Node\\Norv"), KEY_WOW64_64KEY));
}

TEST(RegistryViewTest, ClassesAreSharedExceptThoseOfComObjects) {
    Key(HKEY_LOCAL_MACHINE, _T("Software\\Classes\\Norv"), KEY_READ | KEY_WOW64_32KEY);
    if (!isWine()) {  // which redirects them all, as Windows did before version 7
        EXPECT_TRUE(in64(_T("Software\\Classes\\Norv")));
    }
    Key(HKEY_LOCAL_MACHINE, _T("Software\\Classes\\CLSID\\Norv"), KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(in32(_T("Software\\Classes\\CLSID\\Norv")));
    EXPECT_EQ(in64(_T("Software\\Classes\\CLSID\\Norv")), !isWindows64Bit());
    EXPECT_EQ(in64(_T("Software\\Classes\\Wow6432Node\\CLSID\\Norv")), isWindows64Bit());
}

TEST(RegistryViewTest, KeysOutsideTheMachinesSoftwareAreShared) {
    Key(HKEY_CURRENT_USER, kRoot, KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(exists(HKEY_CURRENT_USER, kRoot, KEY_WOW64_64KEY));
    EXPECT_FALSE(exists(HKEY_CURRENT_USER, _T("Software\\Wow6432Node\\NorvConformance")));
    EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, kRoot), ERROR_SUCCESS);
    const tstring environment =
        _T("System\\CurrentControlSet\\Control\\Session Manager\\Environment");
    EXPECT_TRUE(in32(environment));
    EXPECT_TRUE(in64(environment));
}

}  // namespace
