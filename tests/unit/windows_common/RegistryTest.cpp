#include "windows/common/Registry.h"

#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using simulated::View;
using Lines = std::vector<std::string>;
using Mode = Registry::Mode;

constexpr const char16_t* kKey = u"HKLM\\Software\\X";

class RegistryTest : public OnMachine {
protected:
    RegistryTest() { machine.registry.createKey(View::Bits64, kKey); }

    void setRaw(const TCHAR* name, DWORD type, std::vector<std::uint8_t> data) {
        machine.registry.setValue(View::Bits64, kKey, name, type, std::move(data));
    }
};

TEST_F(RegistryTest, KeysKnowTheirViewAndName) {
    EXPECT_EQ(
        HKLM.name() + HKLM32.name() + HKLM64.name() + HKCU32.name() + HKCU64.name() + HKC.name(),
        u"HKLMHKLM32HKLM64HKCU32HKCU64HKC");
    for (const bool is64BitProcess : {true, false}) {
        machine.facts.is64BitProcess = is64BitProcess;
        const Registry key32(HKLM32, u"Software", Mode::Read);
        const Registry key64(HKLM64, u"Software", Mode::Read);
        Registry(key32, u"V", Mode::Write).setString(u"a\\name", u"32");
        Registry(key64, u"V", Mode::Write).setString(u"a\\name", u"64");
        for (const auto& [view, text] : {std::pair{View::Bits32, u"32"}, {View::Bits64, u"64"}}) {
            EXPECT_EQ(machine.registry.getString(view, u"HKLM\\Software\\V\\a", u"name"), text);
        }
        EXPECT_EQ(key32.tryDeleteKeyTree(u"V"), ERROR_SUCCESS);
        EXPECT_EQ(key64.deleteSubkey(u"V\\a"), ERROR_SUCCESS);
        EXPECT_EQ(key64.deleteSubkey(u"V"), ERROR_SUCCESS);
    }
    machine.become32Bit();
    EXPECT_EQ(Registry(HKEY_CURRENT_USER, KEY_WOW64_64KEY, u"HKCU").name(), u"HKCU");
}

TEST_F(RegistryTest, ObjectsMoveFromKeyToKey) {
    Registry key(HKLM, u"Software", Mode::Read);
    EXPECT_THROW(key.open(u"No", Mode::Read), SysError);
    EXPECT_EQ(key.name(), u"HKLM\\Software");
    key.open(u"X", Mode::Read);
    EXPECT_EQ(key.name(), u"HKLM\\Software\\X");
    Registry moved(std::move(key));
    moved = Registry(HKLM, u"Software", Mode::Read);
    EXPECT_EQ(moved.name(), u"HKLM\\Software");
    EXPECT_EQ(machine.handles.open().size(), 1u);
}

TEST_F(RegistryTest, TextsAreReadAsTheyAreStored) {
    const struct {
        DWORD type;
        std::vector<std::uint8_t> data;
        tstring text;
    } rows[] = {
        {REG_SZ, {'x', 0, 0, 0}, u"x"},
        {REG_SZ, {'x', 0, 'y', 0}, u"xy"},
        {REG_EXPAND_SZ, {'%', 0, 'a', 0, '%', 0, 0, 0}, u"%a%"},
        {REG_SZ, {'x', 0, 'y'}, u"x"},
        {REG_SZ, {'x'}, u""},
        {REG_SZ, {}, u""},
        {REG_SZ, {0, 0}, u""},
        {REG_DWORD, {1, 0, 0, 0}, u"other"},
        {REG_MULTI_SZ, {'x', 0, 0, 0, 0, 0}, u"other"},
        {REG_SZ, {'x', 0, 0, 0, 0, 0}, tstring(u"x\0", 2)},
    };
    const Registry key(HKLM64, u"Software\\X", Mode::Read);
    for (const auto& row : rows) {
        setRaw(u"v", row.type, row.data);
        DWORD type = 4711;
        EXPECT_EQ(key.getValue(u"v", type), row.data);
        EXPECT_EQ(type, row.type);
        EXPECT_EQ(HKLM64.getString(u"Software\\X/v", u"other"), row.text);
    }
    setRaw(u"number", REG_DWORD, {1, 0, 0, 0});
    EXPECT_EQ(thrownText([&] { key.getString(u"number"); }),
              "query string value (HKLM64\\Software\\X\\number) error: wrong type");
    const tstring huge(1 << 20, u'h');
    machine.registry.setString(View::Bits64, kKey, u"", huge);
    EXPECT_EQ(HKLM64.getString(u"Software\\X\\"), huge);
    EXPECT_EQ(key.getString(u"no", u"other") + key.getString(u"no\\v", u"other"), u"otherother");

    // Between the question for the size and the reading of the data the value may change.
    machine.calls.clearJournal();
    machine.calls.failCall("RegQueryValueExW", 2, ERROR_MORE_DATA);
    EXPECT_EQ(key.getString(u"v"), tstring(u"x\0", 2));
    EXPECT_EQ(machine.calls.count("RegQueryValueExW"), 3u);
    EXPECT_TRUE(log().empty());
}

TEST_F(RegistryTest, TextsAreWrittenAndLogged) {
    const Registry key(HKLM64, u"Software\\X", Mode::Write);
    const tstring whole(1024, u'w');
    key.setString(u"v", u"one");
    key.setExpandString(u"a\\b\\v", u"%two%");
    key.setString(u"c/d\\", u"");
    key.setString(u"", whole);
    key.setString(u"v", whole + u"x");
    const auto stored = [&](const TCHAR* below, const TCHAR* name) {
        return machine.registry.getValue(View::Bits64, kKey + tstring(below), name)->data.size();
    };
    EXPECT_EQ(stored(u"\\a\\b", u"v"), 12u);
    // A slash separates key and value, but within the key's name it is a character.
    EXPECT_EQ(stored(u"\\c/d", u""), 2u);
    EXPECT_EQ(stored(u"", u"v"), 2052u);
    const std::string longText(1024, 'w');
    const std::string set = "TRACE Registry.cpp Registry::setString: Set [HKLM64\\Software\\X\\";
    EXPECT_EQ(log(), (Lines{set + "v]=REG_SZ[one]",
                            "TRACE Registry.cpp Registry::setExpandString: "
                            "Set [HKLM64\\Software\\X\\a\\b\\v]=REG_EXPAND_SZ[%two%]",
                            set + "c/d\\]=REG_SZ[]", set + "]=REG_SZ[" + longText + "]",
                            set + "v]=REG_SZ[" + longText + "...]; length=1025"}));
}

TEST_F(RegistryTest, AskingAndDeletingMakeNothing) {
    setRaw(u"v", REG_DWORD, {1, 0, 0, 0});
    setRaw(u"", REG_SZ, {});
    setRaw(u"closed\\v", REG_SZ, {});
    machine.registry.createKey(View::Bits64, u"HKLM\\Software\\X\\closed");
    machine.registry.denyRead(View::Bits64, u"HKLM\\Software\\X\\closed");
    DWORD type = 4711;
    for (const TCHAR* missing : {u"no", u"missing\\v", u"closed\\v"}) {
        EXPECT_FALSE(HKLM64.hasValue(u"Software\\X\\" + tstring(missing), &type));
    }
    EXPECT_EQ(type, 4711u);
    EXPECT_TRUE(HKLM64.hasValue(u"Software\\X\\v") && HKLM64.hasValue(u"Software\\X\\v", &type));
    EXPECT_EQ(type, DWORD{REG_DWORD});
    EXPECT_TRUE(HKLM64.hasSubkey(u"Software\\X"));
    EXPECT_FALSE(HKLM64.hasSubkey(u"Software\\X\\closed"));
    EXPECT_EQ(HKLM64.deleteValue(u"Software\\X\\missing\\v"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(HKLM64.deleteValue(u"Software\\X\\no"), ERROR_FILE_NOT_FOUND);
    EXPECT_FALSE(machine.registry.hasKey(View::Bits64, u"HKLM\\Software\\X\\missing"));
    const Registry key(HKLM64, u"Software\\X", Mode::Write);
    EXPECT_EQ(HKLM64.deleteValue(u"Software\\X\\v"), ERROR_SUCCESS);
    EXPECT_EQ(key.deleteValue(u""), ERROR_SUCCESS);
    EXPECT_EQ(key.deleteNamedValue(u"closed\\v"), ERROR_SUCCESS);
    const std::string deleted =
        "TRACE Registry.cpp Registry::deleteValue: Deleted [HKLM64\\Software\\X\\";
    EXPECT_EQ(log(),
              (Lines{deleted + "v] value", deleted + "] value", deleted + "closed\\v] value"}));
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
        machine.registry.setString(View::Bits64, u"HKLM\\Software\\X\\a\\b", u"v", u"x");
        machine.modules.hideFunction(u"advapi32", row.hidden);
        EXPECT_NE(HKLM64.deleteSubkey(u"Software\\X"), ERROR_SUCCESS);
        machine.calls.clearJournal();
        EXPECT_EQ(HKLM64.tryDeleteKeyTree(u"Software\\X"), ERROR_SUCCESS);
        EXPECT_FALSE(machine.registry.hasKey(View::Bits64, kKey));
        EXPECT_EQ(machine.calls.count(row.used), 1u);
        EXPECT_EQ(log(), row.log);
    }
}

TEST_F(RegistryTest, TreeThatIsGoneIsNoFailure) {
    EXPECT_EQ(HKLM64.tryDeleteKeyTree(u"Software\\No"), ERROR_FILE_NOT_FOUND);
    EXPECT_NO_THROW(HKLM64.deleteKeyTree(u"Software\\No"));
    machine.calls.failCall("RegOpenKeyExW", 1, ERROR_KEY_DELETED);
    EXPECT_NO_THROW(HKLM64.deleteKeyTree(u"Software\\X"));
    for (const char* function : {"RegOpenKeyExW", "RegDeleteTreeW", "RegDeleteKeyExW"}) {
        machine.calls.failCall(function, 1, ERROR_ACCESS_DENIED);
        EXPECT_EQ(thrownText([] { HKLM64.deleteKeyTree(u"Software\\X"); }),
                  "delete key tree (HKLM64\\Software\\X) error. "
                  "System error [5](system error 5 (Access is denied))");
    }
}

TEST_F(RegistryTest, NamesOfAnyLengthAreListed) {
    const Registry key(HKLM64, u"Software\\X", Mode::Read);
    EXPECT_TRUE(key.getSubkeyNames().empty() && key.getValueNames().empty());
    const std::vector<tstring> names = {u"a", tstring(255, u'k')};
    for (const tstring& name : names) {
        machine.registry.setString(View::Bits64, kKey + tstring(u"\\") + name, u"", u"");
        machine.registry.setString(View::Bits64, kKey, name, u"");
    }
    const tstring longest(16383, u'v');
    machine.registry.setString(View::Bits64, kKey, longest, u"");
    EXPECT_EQ(key.getSubkeyNames(), names);
    EXPECT_EQ(key.getValueNames(), (std::vector<tstring>{names[0], names[1], longest}));
}

}  // namespace
