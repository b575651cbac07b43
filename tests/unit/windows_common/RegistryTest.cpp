#include "windows/common/Registry.h"

#include <stdexcept>

#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"

namespace {

using simulated::View;
using Lines = std::vector<std::string>;
using Mode = Registry::Mode;

constexpr const char16_t* kKey = u"HKLM\\Software\\X";
constexpr const char* kDenied = "System error [5](system error 5 (Access is denied))";
constexpr const char* kMissing = "System error [2](system error 2 (The file cannot be found))";

class RegistryTest : public OnMachine {
protected:
    RegistryTest() { machine.registry.createKey(View::Bits64, kKey); }

    void setRaw(const TCHAR* name, DWORD type, std::vector<std::uint8_t> data) {
        machine.registry.setValue(View::Bits64, kKey, name, type, std::move(data));
    }

    /// Key and value of the 64-bit view.
    tstring stored(const TCHAR* key, const TCHAR* name) const {
        return machine.registry.getString(View::Bits64, key, name).value_or(_T("<none>"));
    }
};

TEST_F(RegistryTest, NamesTellTheViewOnA64BitSystem) {
    const struct {
        HKEY root;
        REGSAM view;
        const TCHAR* base;
        const TCHAR* name64;
    } rows[] = {
        {HKEY_LOCAL_MACHINE, 0, _T("HKLM"), _T("HKLM")},
        {HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, _T("HKLM"), _T("HKLM32")},
        {HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, _T("HKLM"), _T("HKLM64")},
        {HKEY_CURRENT_USER, KEY_WOW64_32KEY, _T("HKCU"), _T("HKCU32")},
        {HKEY_CURRENT_USER, KEY_WOW64_64KEY, _T("HKCU"), _T("HKCU64")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Registry(row.root, row.view, row.base).name(), row.name64);
        simulated::Machine small;
        small.become32Bit();
        const simulated::Running onSmall(small);
        EXPECT_EQ(Registry(row.root, row.view, row.base).name(), row.base);
    }
    EXPECT_EQ(
        HKLM.name() + HKLM32.name() + HKLM64.name() + HKCU32.name() + HKCU64.name() + HKC.name(),
        _T("HKLMHKLM32HKLM64HKCU32HKCU64HKC"));
    EXPECT_EQ(Registry(HKLM64, _T("Software\\X"), Mode::Read).name(), _T("HKLM64\\Software\\X"));
}

TEST_F(RegistryTest, ChildrenKeepTheirView) {
    for (const bool is64BitProcess : {true, false}) {
        machine.facts.is64BitProcess = is64BitProcess;
        const Registry key32(HKLM32, _T("Software"), Mode::Read);
        const Registry key64(HKLM64, _T("Software"), Mode::Read);
        Registry(key32, _T("V"), Mode::Write).setString(_T("a\\name"), _T("32"));
        Registry(key64, _T("V"), Mode::Write).setString(_T("a\\name"), _T("64"));
        EXPECT_EQ(machine.registry.getString(View::Bits32, u"HKLM\\Software\\V\\a", u"name"),
                  u"32");
        EXPECT_EQ(machine.registry.getString(View::Bits64, u"HKLM\\Software\\V\\a", u"name"),
                  u"64");
        EXPECT_EQ(key32.tryDeleteKeyTree(_T("V")), ERROR_SUCCESS);
        EXPECT_FALSE(machine.registry.hasKey(View::Bits32, u"HKLM\\Software\\V"));
        EXPECT_TRUE(machine.registry.hasKey(View::Bits64, u"HKLM\\Software\\V"));
        EXPECT_EQ(key64.deleteSubkey(_T("V\\a")), ERROR_SUCCESS);
        EXPECT_EQ(key64.deleteSubkey(_T("V")), ERROR_SUCCESS);
        EXPECT_FALSE(machine.registry.hasKey(View::Bits64, u"HKLM\\Software\\V"));
    }
}

TEST_F(RegistryTest, OpeningFailsWithTheChildsName) {
    const std::string where = "Registry.cpp at Registry::open(): open key ";
    EXPECT_EQ(thrownBy<SysError>([] { Registry(HKLM64, _T("Software\\No"), Mode::Read); }),
              where + "(HKLM64\\Software\\No) error. " + kMissing);
    machine.registry.denyWrite(View::Bits64, kKey);
    EXPECT_EQ(thrownBy<SysError>([] { Registry(HKLM, _T("Software\\X"), Mode::Write); }),
              where + "(HKLM\\Software\\X) error. " + kDenied);

    Registry key(HKLM, _T("Software"), Mode::Read);
    EXPECT_THROW(key.open(_T("No"), Mode::Read), SysError);
    EXPECT_EQ(key.name(), _T("HKLM\\Software"));
    EXPECT_TRUE(key.hasSubkey(_T("X")));
    key.open(_T("X"), Mode::Read);
    EXPECT_EQ(key.name(), _T("HKLM\\Software\\X"));
    EXPECT_EQ(machine.handles.open().size(), 1u);
    Registry moved(std::move(key));
    moved = Registry(HKLM, _T("Software"), Mode::Read);
    EXPECT_EQ(moved.name(), _T("HKLM\\Software"));
    EXPECT_EQ(machine.handles.open().size(), 1u);
    EXPECT_TRUE(log().empty());
}

TEST_F(RegistryTest, FailedCloseIsLogged) {
    {
        const Registry key(HKLM, _T("Software"), Mode::Read);
        machine.calls.failCall("RegCloseKey", 1, ERROR_INVALID_HANDLE);
    }
    const Lines lines = log();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].find("ERROR WinAutoHandle.cpp closeRegHandle: RegCloseKey(0x"), 0u);
    EXPECT_NE(lines[0].find(") failed with system error 6 (The handle is invalid)"),
              std::string::npos);
    machine.handles.closeAll();
}

TEST_F(RegistryTest, TextsAreReadAsTheyAreStored) {
    const std::string query = "Registry.cpp at Registry::getString(): query string value ";
    const struct {
        const char* what;
        DWORD type;
        std::vector<std::uint8_t> data;
        const TCHAR* text;  // null: wrong type
    } rows[] = {
        {"terminated", REG_SZ, {'x', 0, 0, 0}, _T("x")},
        {"not terminated", REG_SZ, {'x', 0, 'y', 0}, _T("xy")},
        {"expandable stays", REG_EXPAND_SZ, {'%', 0, 'a', 0, '%', 0, 0, 0}, _T("%a%")},
        {"odd length", REG_SZ, {'x', 0, 'y'}, _T("x")},
        {"one byte", REG_SZ, {'x'}, _T("")},
        {"empty", REG_SZ, {}, _T("")},
        {"NUL alone", REG_SZ, {0, 0}, _T("")},
        {"number", REG_DWORD, {1, 0, 0, 0}, nullptr},
        {"list", REG_MULTI_SZ, {'x', 0, 0, 0, 0, 0}, nullptr},
        {"no type", REG_NONE, {}, nullptr},
    };
    const Registry key(HKLM64, _T("Software\\X"), Mode::Read);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        setRaw(_T("v"), row.type, row.data);
        DWORD type = 4711;
        EXPECT_EQ(key.getValue(_T("v"), type), row.data);
        EXPECT_EQ(type, row.type);
        if (row.text != nullptr) {
            EXPECT_EQ(key.getString(_T("v")), row.text);
            EXPECT_EQ(HKLM64.getString(_T("Software\\X/v"), _T("other")), row.text);
        } else {
            EXPECT_EQ(thrownBy<std::runtime_error>([&] { key.getString(_T("v")); }),
                      query + "(HKLM64\\Software\\X\\v) error: wrong type");
            EXPECT_EQ(key.getString(_T("v"), _T("other")), _T("other"));
        }
    }
    setRaw(_T("v"), REG_SZ, {'x', 0, 0, 0, 0, 0});
    EXPECT_EQ(key.getString(_T("v")), tstring(_T("x\0"), 2));
    const tstring huge(1 << 20, _T('h'));
    machine.registry.setString(View::Bits64, kKey, u"huge", huge);
    EXPECT_EQ(key.getString(_T("huge")), huge);
    setRaw(_T(""), REG_SZ, {'d', 0});
    EXPECT_EQ(HKLM64.getString(_T("Software\\X\\")), _T("d"));

    const std::string value = "Registry.cpp at Registry::getValue(): query value ";
    EXPECT_EQ(thrownBy<SysError>([&] { key.getString(_T("no")); }),
              value + "(HKLM64\\Software\\X\\no) error. " + kMissing);
    EXPECT_EQ(thrownBy<SysError>([&] { key.getString(_T("no\\v")); }),
              std::string("Registry.cpp at Registry::open(): open key (HKLM64\\Software\\X\\no) "
                          "error. ") +
                  kMissing);
    EXPECT_EQ(key.getString(_T("no\\v"), _T("other")), _T("other"));
    EXPECT_TRUE(log().empty());
}

/// Between the question for the size and the reading of the data the value may change.
TEST_F(RegistryTest, ValueThatGrowsIsReadWhole) {
    setRaw(_T("v"), REG_SZ, {'x', 0, 'y', 0});
    const Registry key(HKLM64, _T("Software\\X"), Mode::Read);
    machine.calls.clearJournal();
    machine.calls.failCall("RegQueryValueExW", 2, ERROR_MORE_DATA);
    EXPECT_EQ(key.getString(_T("v")), _T("xy"));
    EXPECT_EQ(machine.calls.count("RegQueryValueExW"), 3u);
    machine.calls.failCall("RegQueryValueExW", 2, ERROR_ACCESS_DENIED);
    EXPECT_THROW(key.getString(_T("v")), SysError);
}

TEST_F(RegistryTest, TextsAreWrittenAndLogged) {
    const Registry key(HKLM64, _T("Software\\X"), Mode::Write);
    const tstring whole(1024, _T('w'));
    key.setString(_T("v"), _T("one"));
    key.setExpandString(_T("a\\b\\v"), _T("%two%"));
    key.setString(_T("c/d\\"), _T(""));
    key.setString(_T(""), whole);
    key.setString(_T("v"), whole + _T("x"));
    EXPECT_EQ(stored(u"HKLM\\Software\\X\\a\\b", u"v"), _T("%two%"));
    // A slash separates key and value, but within the key's name it is a character.
    EXPECT_EQ(stored(u"HKLM\\Software\\X\\c/d", u""), _T(""));
    EXPECT_EQ(stored(kKey, u"v"), whole + _T("x"));
    EXPECT_EQ(
        machine.registry.getValue(View::Bits64, u"HKLM\\Software\\X\\a\\b", u"v")->data.size(),
        12u);
    const std::string longText(1024, 'w');
    const std::string set = "TRACE Registry.cpp Registry::setString: Set [HKLM64\\Software\\X\\";
    EXPECT_EQ(log(), (Lines{set + "v]=REG_SZ[one]",
                            "TRACE Registry.cpp Registry::setExpandString: "
                            "Set [HKLM64\\Software\\X\\a\\b\\v]=REG_EXPAND_SZ[%two%]",
                            set + "c/d\\]=REG_SZ[]", set + "]=REG_SZ[" + longText + "]",
                            set + "v]=REG_SZ[" + longText + "...]; length=1025"}));

    machine.calls.failAll("RegSetValueExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(thrownBy<SysError>([&] { key.setString(_T("n\\v"), _T("x")); }),
              std::string("Registry.cpp at Registry::setString(): set string value "
                          "(HKLM64\\Software\\X\\n\\v) error. ") +
                  kDenied);
    EXPECT_EQ(thrownBy<SysError>([&] { key.setExpandString(_T("v"), _T("x")); }),
              std::string("Registry.cpp at Registry::setExpandString(): set expand string value "
                          "(HKLM64\\Software\\X\\v) error. ") +
                  kDenied);
    EXPECT_TRUE(log().empty());
}

TEST_F(RegistryTest, AskingThrowsAndChangesNothing) {
    setRaw(_T("v"), REG_DWORD, {1, 0, 0, 0});
    machine.registry.createKey(View::Bits64, u"HKLM\\Software\\X\\closed");
    machine.registry.denyRead(View::Bits64, u"HKLM\\Software\\X\\closed");
    DWORD type = 4711;
    EXPECT_FALSE(HKLM64.hasValue(_T("Software\\X\\no"), &type));
    EXPECT_FALSE(HKLM64.hasValue(_T("Software\\X\\missing\\v"), &type));
    EXPECT_FALSE(HKLM64.hasValue(_T("Software\\X\\closed\\v"), &type));
    EXPECT_EQ(type, 4711u);
    EXPECT_TRUE(HKLM64.hasValue(_T("Software\\X\\v")));
    EXPECT_TRUE(HKLM64.hasValue(_T("Software\\X\\v"), &type));
    EXPECT_EQ(type, DWORD{REG_DWORD});
    EXPECT_TRUE(HKLM64.hasSubkey(_T("Software\\X")));
    EXPECT_FALSE(HKLM64.hasSubkey(_T("Software\\X\\missing")));
    EXPECT_FALSE(HKLM64.hasSubkey(_T("Software\\X\\closed")));

    EXPECT_EQ(HKLM64.deleteValue(_T("Software\\X\\missing\\v")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(HKLM64.deleteValue(_T("Software\\X\\no")), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(machine.registry.hasKey(View::Bits64, u"HKLM\\Software\\X\\missing"));
    EXPECT_TRUE(log().empty());
    EXPECT_EQ(HKLM64.deleteValue(_T("Software\\X\\v")), ERROR_SUCCESS);
    setRaw(_T(""), REG_SZ, {});
    EXPECT_EQ(Registry(HKLM64, _T("Software\\X"), Mode::Write).deleteValue(_T("")), ERROR_SUCCESS);
    const std::string deleted = "TRACE Registry.cpp Registry::deleteValue: Deleted ";
    EXPECT_EQ(log(), (Lines{deleted + "[HKLM64\\Software\\X\\v] value",
                            deleted + "[HKLM64\\Software\\X\\] value"}));
}

TEST_F(RegistryTest, KeysAreDeletedByTheFunctionsThatAreThere) {
    const std::string emptied =
        "TRACE Registry.cpp Registry::tryDeleteKeyTree: "
        "Deleted all child elements of [HKLM64\\Software\\X] key";
    const std::string deleted =
        "TRACE Registry.cpp Registry::deleteSubkey: Deleted [HKLM64\\Software\\X] key";
    const struct {
        const char* hidden;
        const char* used;
        Lines log;
    } rows[] = {
        {"", "RegDeleteTreeW", {emptied, deleted}},
        {"RegDeleteTreeW", "SHDeleteKeyW", {emptied, deleted}},
        {"RegDeleteKeyExW", "RegDeleteKeyW", {emptied}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.hidden);
        simulated::Machine fresh;
        const simulated::Running onFresh(fresh);
        fresh.registry.setString(View::Bits64, u"HKLM\\Software\\X\\a\\b", u"v", u"x");
        fresh.modules.hideFunction(u"advapi32", row.hidden);
        EXPECT_NE(HKLM64.deleteSubkey(_T("Software\\X")), ERROR_SUCCESS);
        EXPECT_TRUE(fresh.registry.hasKey(View::Bits64, u"HKLM\\Software\\X\\a\\b"));
        fresh.calls.clearJournal();
        EXPECT_EQ(HKLM64.tryDeleteKeyTree(_T("Software\\X")), ERROR_SUCCESS);
        EXPECT_FALSE(fresh.registry.hasKey(View::Bits64, kKey));
        EXPECT_EQ(fresh.calls.count(row.used), 1u);
        Lines lines;
        for (const LogRecord& r : logRecords(fresh)) {
            lines.push_back(r.level + " " + r.file + " " + r.function + ": " + r.message);
        }
        EXPECT_EQ(lines, row.log);
        EXPECT_TRUE(fresh.handles.open().empty());
    }
}

TEST_F(RegistryTest, TreeThatIsGoneIsNoFailure) {
    EXPECT_EQ(HKLM64.tryDeleteKeyTree(_T("Software\\No")), ERROR_FILE_NOT_FOUND);
    EXPECT_NO_THROW(HKLM64.deleteKeyTree(_T("Software\\No")));
    machine.calls.failCall("RegOpenKeyExW", 1, ERROR_KEY_DELETED);
    EXPECT_NO_THROW(HKLM64.deleteKeyTree(_T("Software\\X")));
    EXPECT_TRUE(log().empty());

    machine.registry.createKey(View::Bits64, u"HKLM\\Software\\X\\a");
    const std::string thrown = std::string(
                                   "Registry.cpp at Registry::deleteKeyTree(): "
                                   "delete key tree (HKLM64\\Software\\X) error. ") +
                               kDenied;
    for (const char* function : {"RegOpenKeyExW", "RegDeleteTreeW", "RegDeleteKeyExW"}) {
        machine.calls.failCall(function, 1, ERROR_ACCESS_DENIED);
        EXPECT_EQ(thrownBy<SysError>([] { HKLM64.deleteKeyTree(_T("Software\\X")); }), thrown);
        EXPECT_TRUE(machine.registry.hasKey(View::Bits64, kKey)) << function;
    }
    HKLM64.deleteKeyTree(_T("Software\\X"));
    EXPECT_FALSE(machine.registry.hasKey(View::Bits64, kKey));
}

TEST_F(RegistryTest, NamesAreListed) {
    const Registry key(HKLM64, _T("Software\\X"), Mode::Read);
    EXPECT_TRUE(key.getSubkeyNames().empty());
    EXPECT_TRUE(key.getValueNames().empty());

    const tstring longKey(255, _T('k'));
    const tstring longValue(16383, _T('v'));
    for (const tstring& name : {tstring(_T("a")), tstring(_T("b")), longKey}) {
        machine.registry.createKey(View::Bits64, kKey + tstring(_T("\\")) + name);
    }
    for (const tstring& name : {tstring(_T("z")), tstring(), longValue}) {
        machine.registry.setString(View::Bits64, kKey, name, u"");
    }
    EXPECT_EQ(key.getSubkeyNames(), (std::vector<tstring>{_T("a"), _T("b"), longKey}));
    EXPECT_EQ(key.getValueNames(), (std::vector<tstring>{_T("z"), _T(""), longValue}));

    machine.calls.failCall("RegEnumKeyExW", 3, ERROR_ACCESS_DENIED);
    EXPECT_EQ(thrownBy<SysError>([&] { key.getSubkeyNames(); }),
              std::string("Registry.cpp at Registry::getSubkeyNames(): enum subkeys "
                          "(HKLM64\\Software\\X\\3) error. ") +
                  kDenied);
    machine.calls.failCall("RegEnumValueW", 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(thrownBy<SysError>([&] { key.getValueNames(); }),
              std::string("Registry.cpp at Registry::getValueNames(): enum values "
                          "(HKLM64\\Software\\X\\1) error. ") +
                  kDenied);
}

}  // namespace
