#include <windows.h>
#include <shlwapi.h>
#include <tchar.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Form.h"
#include "Inspection.h"

namespace {

const TCHAR* const kRoot = _T("Software\\NorvConformance");

LSTATUS createStatus(HKEY parent, const tstring& path, HKEY& made, REGSAM access = KEY_READ) {
    return RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, access, nullptr, &made, nullptr);
}

/// A key that is closed at the end of its scope.
class Key {
public:
    Key() = default;
    Key(Key&& other) noexcept : key_(std::exchange(other.key_, nullptr)) {}
    ~Key() {
        if (key_ != nullptr) {
            EXPECT_EQ(RegCloseKey(key_), ERROR_SUCCESS);
        }
    }

    static Key create(HKEY parent, const tstring& path, REGSAM access = KEY_ALL_ACCESS) {
        Key key;
        EXPECT_EQ(createStatus(parent, path, key.key_, access), ERROR_SUCCESS);
        return key;
    }
    static Key open(HKEY parent, const tstring& path, REGSAM access = KEY_ALL_ACCESS) {
        Key key;
        EXPECT_EQ(RegOpenKeyExW(parent, path.c_str(), 0, access, &key.key_), ERROR_SUCCESS);
        return key;
    }

    operator HKEY() const { return key_; }

private:
    HKEY key_ = nullptr;
};

LSTATUS openStatus(HKEY parent, const tstring& path, REGSAM access = KEY_READ) {
    HKEY key = nullptr;
    const LSTATUS status = RegOpenKeyExW(parent, path.c_str(), 0, access, &key);
    if (status == ERROR_SUCCESS) {
        RegCloseKey(key);
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

tstring getText(HKEY key, const TCHAR* name) {
    TCHAR buffer[100] = {};
    DWORD size = sizeof(buffer);
    const LSTATUS status =
        RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
    return status == ERROR_SUCCESS ? buffer : _T("<none>");
}

std::vector<tstring> subkeys(HKEY key) {
    std::vector<tstring> names;
    TCHAR buffer[256];
    DWORD size = 256;
    while (RegEnumKeyExW(key, static_cast<DWORD>(names.size()), buffer, &size, nullptr, nullptr,
                         nullptr, nullptr) == ERROR_SUCCESS) {
        names.emplace_back(buffer, size);
        size = 256;
    }
    return names;
}

class RegistryTest : public testing::Test {
protected:
    RegistryTest() : key(Key::create(HKEY_CURRENT_USER, kRoot)) {}
    ~RegistryTest() override { RegDeleteTreeW(HKEY_CURRENT_USER, kRoot); }

    Key key;
};

TEST_F(RegistryTest, ValuesKeepTypeAndBytes) {
    const struct {
        const TCHAR* name;
        DWORD type;
        std::vector<BYTE> data;
    } kCases[] = {
        {_T(""), REG_SZ, {'d', 0, 0, 0}},
        {_T("text"), REG_SZ, {'a', 0, 'b', 0, 0, 0}},
        {_T("no end"), REG_EXPAND_SZ, {'a', 0}},
        {_T("odd"), REG_SZ, {'a', 0, 'b'}},
        {_T("empty"), REG_SZ, {}},
        {_T("list"), REG_MULTI_SZ, {'a', 0, 0, 0, 0, 0}},
        {_T("strange"), 0x1234, {7}},
    };
    for (const auto& one : kCases) {
        SCOPED_TRACE(one.type);
        const auto size = static_cast<DWORD>(one.data.size());
        std::vector<BYTE> given = one.data;
        given.resize(size + 2, '#');
        ASSERT_EQ(RegSetValueExW(key, one.name, 0, one.type, given.data(), size), ERROR_SUCCESS);
        DWORD type = 99;
        BYTE buffer[16] = {};
        DWORD found = sizeof(buffer);
        EXPECT_EQ(RegQueryValueExW(key, one.name, nullptr, &type, buffer, &found), ERROR_SUCCESS);
        EXPECT_EQ(type, one.type);
        EXPECT_EQ(std::vector<BYTE>(buffer, buffer + found), one.data);
        // Without a buffer, and with one that is too small, the size alone is told.
        EXPECT_EQ(RegQueryValueExW(key, one.name, nullptr, nullptr, nullptr, &found),
                  ERROR_SUCCESS);
        EXPECT_EQ(found, size);
        if (size > 0) {
            found = size - 1;
            EXPECT_EQ(RegQueryValueExW(key, one.name, nullptr, &type, buffer, &found),
                      ERROR_MORE_DATA);
            EXPECT_EQ(found, size);
        }
    }
}

TEST_F(RegistryTest, AQueryTellsWhatIsWrong) {
    BYTE data[4];
    DWORD reserved = 0;
    // A text without its end gets one where there is room. (A NUL behind the data that is set would
    // be counted in: what follows is told apart.)
    const TCHAR text[] = _T("a#");
    RegSetValueExW(key, _T("x"), 0, REG_SZ, reinterpret_cast<const BYTE*>(text), sizeof(TCHAR));
    TCHAR buffer[3] = {_T('#'), _T('#'), _T('#')};
    DWORD size = sizeof(buffer);
    const auto query = [&](HKEY from, const TCHAR* name, DWORD* unused, void* to, DWORD* room) {
        return RegQueryValueExW(from, name, unused, nullptr, static_cast<BYTE*>(to), room);
    };
    EXPECT_EQ(query(key, _T("X"), nullptr, buffer, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, sizeof(TCHAR));
    EXPECT_EQ(tstring(buffer, 3), tstring({_T('a'), _T('\0'), _T('#')}));
    EXPECT_EQ(query(key, _T("missing"), nullptr, data, &size), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(query(key, nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(query(key, _T("x"), nullptr, data, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(query(key, _T("x"), &reserved, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(query(nullptr, _T("x"), nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
}

TEST_F(RegistryTest, NamesKeepTheirCaseAndIgnoreIt) {
    Key::create(key, _T("Mixed\\Case"));
    EXPECT_EQ(setText(key, _T("Value"), _T("1")), ERROR_SUCCESS);
    EXPECT_EQ(setText(key, _T("vALUE"), _T("2")), ERROR_SUCCESS);
    EXPECT_TRUE(exists(key, _T("mIXED\\cASE")));
    Key::create(key, _T("MIXED"));
    // Pairs that lead back and forth are one, a mapping one way is none: of the micro sign to a My.
    const Key accents =
        Key::create(HKEY_CURRENT_USER, tstring(kRoot) + _T("2\\\x00C4\x0416\x00B5"));
    EXPECT_TRUE(exists(HKEY_CURRENT_USER, tstring(kRoot) + _T("2\\\x00E4\x0436\x00B5")));
    EXPECT_FALSE(exists(HKEY_CURRENT_USER, tstring(kRoot) + _T("2\\\x00C4\x0416\x039C")));
    RegDeleteTreeW(HKEY_CURRENT_USER, (tstring(kRoot) + _T("2")).c_str());
    EXPECT_EQ(subkeys(key), std::vector<tstring>{_T("Mixed")});
    TCHAR name[20];
    DWORD size = 20;
    EXPECT_EQ(RegEnumValueW(key, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(tstring(name), _T("Value"));
    EXPECT_EQ(getText(key, _T("value")), _T("2"));
    EXPECT_EQ(RegDeleteValueW(key, _T("VALUE")), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(key, _T("VALUE")), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, EnumerationGoesByNameAndEnds) {
    for (const TCHAR* const name : {_T("b"), _T("C"), _T("a_x"), _T("a1"), _T("A")}) {
        Key::create(key, name);
    }
    EXPECT_EQ(subkeys(key), (std::vector<tstring>{_T("A"), _T("a1"), _T("a_x"), _T("b"), _T("C")}));
    TCHAR name[4];
    DWORD size = 3;
    EXPECT_EQ(RegEnumKeyExW(key, 2, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_MORE_DATA);
    size = 4;
    EXPECT_EQ(RegEnumKeyExW(key, 2, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(RegEnumKeyExW(key, 5, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_NO_MORE_ITEMS);
}

TEST_F(RegistryTest, ValuesAreEnumeratedWithTheirData) {
    setText(key, _T("name"), _T("ab"));
    const struct {
        DWORD index;
        DWORD nameSize;
        DWORD dataSize;
        LSTATUS status;
    } kCases[] = {{0, 5, 6, ERROR_SUCCESS},
                  {0, 5, 5, ERROR_MORE_DATA},
                  {0, 4, 8, ERROR_MORE_DATA},
                  {1, 5, 8, ERROR_NO_MORE_ITEMS}};
    for (const auto& one : kCases) {
        TCHAR name[5] = {};
        BYTE data[8] = {};
        DWORD type = 0;
        DWORD nameSize = one.nameSize;
        DWORD dataSize = one.dataSize;
        EXPECT_EQ(RegEnumValueW(key, one.index, name, &nameSize, nullptr, &type, data, &dataSize),
                  one.status)
            << one.nameSize << ' ' << one.dataSize;
        if (one.status == ERROR_SUCCESS) {
            EXPECT_EQ(tstring(name, nameSize), _T("name"));
            EXPECT_EQ(dataSize, 6u);
            EXPECT_EQ(type, DWORD{REG_SZ});
        }
    }
}

TEST_F(RegistryTest, AHandleServesWhatItWasOpenedFor) {
    Key::create(key, _T("sub"));
    const Key reading = Key::open(key, _T(""), KEY_READ);
    EXPECT_EQ(setText(reading, _T("x"), _T("y")), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueW(reading, _T("x")), ERROR_ACCESS_DENIED);
    const Key setting = Key::open(key, _T(""), KEY_SET_VALUE);
    TCHAR name[9];
    DWORD size = 9;
    EXPECT_EQ(setText(setting, _T("x"), _T("y")), ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExW(setting, _T("x"), nullptr, nullptr, nullptr, nullptr),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegEnumKeyExW(setting, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegEnumValueW(setting, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_ACCESS_DENIED);
    // The making and deleting of a subkey asks the key and not the handle.
    Key::create(reading, _T("made"));
    EXPECT_EQ(RegDeleteKeyW(reading, _T("made")), ERROR_SUCCESS);
}

TEST_F(RegistryTest, PathsAreTakenInTheirForms) {
    Key::create(key, _T("a\\b"));
    EXPECT_EQ(openStatus(key, _T("a\\b\\")), ERROR_SUCCESS);
    EXPECT_EQ(openStatus(key, _T("a\\\\b")), ERROR_SUCCESS);
    EXPECT_EQ(openStatus(key, _T("\\a")), ERROR_BAD_PATHNAME);
    EXPECT_EQ(openStatus(key, _T("a/b")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(openStatus(key, _T("a\\c")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(openStatus(nullptr, _T("a")), ERROR_INVALID_HANDLE);
    Key::create(key, tstring(255, _T('n')));
    EXPECT_EQ(subkeys(key).back().size(), 255u);
    if (!isWine()) {  // which has no limit; by Microsoft's "Registry Element Size Limits"
        HKEY made = nullptr;
        EXPECT_EQ(createStatus(key, tstring(256, _T('n')), made), ERROR_INVALID_PARAMETER);
    }
}

TEST_F(RegistryTest, AKeyWithSubkeysStays) {
    Key::create(key, _T("a\\b"));
    EXPECT_EQ(RegDeleteKeyW(key, _T("a")), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyExW(key, _T("a"), 0, 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteKeyExW(key, _T("a\\b"), 0, 0), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(key, _T("a")), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteKeyW(key, _T("a")), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, TreesAreDeleted) {
    // Of the whole tree, or of what is in it; the SDK's headers differ in the type of a status.
    const auto deleteTree = [](HKEY at, const TCHAR* subkey) { return RegDeleteTreeW(at, subkey); };
    const auto deleteKey = [](HKEY at, const TCHAR* subkey) {
        return static_cast<LSTATUS>(SHDeleteKeyW(at, subkey == nullptr ? _T("") : subkey));
    };
    constexpr REGSAM kRights = KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE;
    const auto plant = [&] {
        const Key tree = Key::create(key, _T("tree"));
        setText(tree, _T("x"), _T("y"));
        Key::create(tree, _T("a\\b"));
        Key::create(tree, _T("c"));
    };
    for (const auto& remove : {std::function<LSTATUS(HKEY, const TCHAR*)>(deleteTree),
                               std::function<LSTATUS(HKEY, const TCHAR*)>(deleteKey)}) {
        plant();
        {
            const Key tree = Key::open(key, _T("tree"), kRights | DELETE);
            EXPECT_EQ(remove(tree, nullptr), ERROR_SUCCESS);
            EXPECT_TRUE(subkeys(tree).empty());
            EXPECT_EQ(getText(tree, _T("x")), _T("<none>"));
        }
        plant();
        EXPECT_EQ(remove(key, _T("tree")), ERROR_SUCCESS);
        EXPECT_FALSE(exists(key, _T("tree")));
        EXPECT_EQ(remove(key, _T("tree")), ERROR_FILE_NOT_FOUND);
    }
    // Wine asks for nothing; the rights are those of Microsoft's "RegDeleteTreeW function".
    plant();
    const Key lacking = Key::open(key, _T("tree"), kRights);
    EXPECT_EQ(RegDeleteTreeW(lacking, nullptr), isWine() ? ERROR_SUCCESS : ERROR_ACCESS_DENIED);
}

TEST_F(RegistryTest, AnOpenKeyOutlivesItsDeletionAsAShell) {
    const Key gone = Key::create(key, _T("gone"));
    ASSERT_EQ(RegDeleteKeyW(key, _T("gone")), ERROR_SUCCESS);
    TCHAR name[9];
    DWORD size = 9;
    HKEY made = nullptr;
    EXPECT_EQ(RegQueryValueExW(gone, nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    EXPECT_EQ(setText(gone, _T("x"), _T("y")), ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteValueW(gone, _T("x")), ERROR_KEY_DELETED);
    EXPECT_EQ(RegEnumKeyExW(gone, 0, name, &size, nullptr, nullptr, nullptr, nullptr),
              ERROR_KEY_DELETED);
    EXPECT_EQ(openStatus(gone, _T("sub")), ERROR_KEY_DELETED);
    EXPECT_EQ(createStatus(gone, _T("sub"), made), ERROR_KEY_DELETED);
    // A new key of that name is another key.
    Key::create(key, _T("gone"));
    EXPECT_EQ(setText(gone, _T("x"), _T("y")), ERROR_KEY_DELETED);
}

/// The machine's part of the registry, in both views.
class RegistryViewTest : public testing::Test {
protected:
    RegistryViewTest() { clean(); }
    ~RegistryViewTest() override { clean(); }

    static void clean() {
        for (const REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
            for (const tstring& path : {tstring(kRoot), shared, redirected}) {
                RegDeleteKeyExW(HKEY_LOCAL_MACHINE, (path + _T("\\sub")).c_str(), view, 0);
                RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), view, 0);
            }
        }
    }

    static bool in64(const tstring& path) {
        return exists(HKEY_LOCAL_MACHINE, path, KEY_WOW64_64KEY);
    }
    static bool in32(const tstring& path) {
        return exists(HKEY_LOCAL_MACHINE, path, KEY_WOW64_32KEY);
    }

    inline static const tstring shared = _T("Software\\Classes\\NorvConformance");
    inline static const tstring redirected = _T("Software\\Classes\\CLSID\\NorvConformance");
};

TEST_F(RegistryViewTest, TheMachinesSoftwareIsTwofoldOnA64BitWindows) {
    const bool two = isWindows64Bit();
    Key::create(HKEY_LOCAL_MACHINE, kRoot, KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(in32(kRoot));
    EXPECT_EQ(in64(kRoot), !two);
    EXPECT_EQ(exists(HKEY_LOCAL_MACHINE, kRoot), !isProgram64Bit()) << "the default view";
    EXPECT_EQ(in64(_T("Software\\Wow6432Node\\NorvConformance")), two);
    EXPECT_EQ(in32(_T("Software\\Wow6432Node\\NorvConformance")), two);
    EXPECT_EQ(RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kRoot, KEY_WOW64_64KEY, 0),
              two ? ERROR_FILE_NOT_FOUND : ERROR_SUCCESS);
    Key::create(HKEY_LOCAL_MACHINE, kRoot, KEY_READ | KEY_WOW64_64KEY);
    EXPECT_TRUE(in64(kRoot));
    EXPECT_EQ(RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kRoot, KEY_WOW64_32KEY, 0), ERROR_SUCCESS);
    EXPECT_EQ(in64(kRoot), two);
    EXPECT_FALSE(in32(kRoot));
    if (!isWine()) {  // which takes both; by Microsoft's "Accessing an Alternate Registry View"
        EXPECT_EQ(
            openStatus(HKEY_LOCAL_MACHINE, kRoot, KEY_READ | KEY_WOW64_32KEY | KEY_WOW64_64KEY),
            ERROR_INVALID_PARAMETER);
    }
}

TEST_F(RegistryViewTest, AKeyOfAViewLeadsOnInIt) {
    Key::create(HKEY_LOCAL_MACHINE, tstring(kRoot) + _T("\\sub"), KEY_READ | KEY_WOW64_32KEY);
    const Key in32Bit = Key::open(HKEY_LOCAL_MACHINE, kRoot, KEY_ALL_ACCESS | KEY_WOW64_32KEY);
    EXPECT_TRUE(exists(in32Bit, _T("sub")));
    EXPECT_TRUE(exists(in32Bit, _T("sub"), KEY_WOW64_32KEY));
    Key::create(HKEY_LOCAL_MACHINE, kRoot, KEY_READ | KEY_WOW64_64KEY);
    const Key in64Bit = Key::open(HKEY_LOCAL_MACHINE, kRoot, KEY_READ | KEY_WOW64_64KEY);
    EXPECT_EQ(exists(in64Bit, _T("sub")), !isWindows64Bit());
    const Key software = Key::open(HKEY_LOCAL_MACHINE, _T("Software"), KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(exists(software, _T("NorvConformance"), KEY_WOW64_32KEY));
}

TEST_F(RegistryViewTest, ClassesAreSharedButForThoseOfObjects) {
    Key::create(HKEY_LOCAL_MACHINE, shared, KEY_READ | KEY_WOW64_32KEY);
    if (!isWine()) {  // which redirects them all, as Windows did before version 7
        EXPECT_TRUE(in64(shared));
        EXPECT_TRUE(exists(HKEY_CLASSES_ROOT, _T("NorvConformance")));
    }
    Key::create(HKEY_LOCAL_MACHINE, redirected, KEY_READ | KEY_WOW64_32KEY);
    EXPECT_TRUE(in32(redirected));
    if (isWindows64Bit()) {
        EXPECT_FALSE(in64(redirected));
        EXPECT_TRUE(in64(_T("Software\\Classes\\Wow6432Node\\CLSID\\NorvConformance")));
    }
}

TEST_F(RegistryViewTest, WhatIsNoSoftwareOfTheMachineIsShared) {
    const Key user = Key::create(HKEY_CURRENT_USER, kRoot, KEY_ALL_ACCESS | KEY_WOW64_32KEY);
    EXPECT_TRUE(exists(HKEY_CURRENT_USER, kRoot, KEY_WOW64_64KEY));
    EXPECT_FALSE(exists(HKEY_CURRENT_USER, _T("Software\\Wow6432Node\\NorvConformance")));
    EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, kRoot), ERROR_SUCCESS);
    const tstring environment =
        _T("System\\CurrentControlSet\\Control\\Session Manager\\Environment");
    EXPECT_TRUE(in32(environment) && in64(environment));
    EXPECT_FALSE(in64(_T("System\\Wow6432Node")));
}

}  // namespace
