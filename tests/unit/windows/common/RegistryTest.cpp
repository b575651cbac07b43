#include "windows/common/Registry.h"

#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using simulated::View;
using Strings = std::vector<std::string>;
using Names = std::vector<tstring>;
using RegistryTest = OnMachine;

const tstring kKey = u"HKLM\\Software\\X";

TEST_F(RegistryTest, KeysKnowTheirViewAndName) {
    EXPECT_EQ(
        HKLM.name() + HKLM32.name() + HKLM64.name() + HKCU32.name() + HKCU64.name() + HKC.name(),
        u"HKLMHKLM32HKLM64HKCU32HKCU64HKC");
    for (const Registry* root : {&HKLM64, &HKLM32}) {
        root->setString(u"Software\\V\\", root->name());
    }
    EXPECT_EQ(HKLM32.deleteSubkey(u"Software\\V"), ERROR_SUCCESS);
    EXPECT_EQ(HKLM64.getString(u"Software\\V\\"), u"HKLM64");
    machine.become32Bit();
    EXPECT_EQ(Registry(HKEY_CURRENT_USER, KEY_WOW64_64KEY, u"HKCU").name(), u"HKCU");
}

TEST_F(RegistryTest, TextsAreReadAsTheyAreStored) {
    const std::tuple<DWORD, std::vector<std::uint8_t>, tstring> rows[] = {
        {REG_SZ, {'x', 0, 'y', 0}, u"xy"},
        {REG_EXPAND_SZ, {'%', 0, 'a', 0, '%', 0, 0, 0}, u"%a%"},
        {REG_SZ, {'x', 0, 'y'}, u"x"},
        {REG_SZ, {}, u""},
        {REG_SZ, {'x', 0, 0, 0, 0, 0}, tstring(u"x\0", 2)},
        {REG_MULTI_SZ, {'x', 0, 0, 0, 0, 0}, u"other"},
    };
    for (const auto& [type, data, text] : rows) {
        machine.registry.setValue(View::Bits64, kKey, u"v", type, data);
        DWORD found = 4711;
        EXPECT_EQ(HKLM64.getValue(u"Software\\X\\v", found), data);
        EXPECT_EQ(found, type);
        EXPECT_EQ(HKLM64.getString(u"Software\\X/v", u"other"), text);
    }
    EXPECT_EQ(thrownText([&] { HKLM64.getString(u"Software\\X\\v"); }),
              "query string value (HKLM64\\Software\\X\\v) error: wrong type");
    const tstring huge(1 << 20, u'h');
    machine.registry.setString(View::Bits64, kKey, u"", huge);
    // Between the question for the size and the reading of the data the value may change.
    machine.calls.failCall("RegQueryValueExW", 2, ERROR_MORE_DATA);
    EXPECT_EQ(HKLM64.getString(u"Software\\X\\"), huge);
    EXPECT_TRUE(log().empty());
}

TEST_F(RegistryTest, LongTextsAreWrittenWholeAndLoggedInPart) {
    for (const std::size_t length : {1024u, 1025u}) {
        HKLM64.setString(u"Software\\X\\a\\v", tstring(length, u'w'));
    }
    EXPECT_EQ(machine.registry.getValue(View::Bits64, kKey + u"\\a", u"v")->data.size(), 2052u);
    const std::string set = "Set [HKLM64\\Software\\X\\a\\v]=REG_SZ[" + std::string(1024, 'w');
    EXPECT_EQ(logMessages(machine, "TRACE"), (Strings{set + "]", set + "...]; length=1025"}));
}

TEST_F(RegistryTest, AskingAndDeletingMakeNothing) {
    const tstring closed(255, u'k');
    const tstring name = u"c/" + tstring(16381, u'v');
    machine.registry.setString(View::Bits64, kKey + u"\\" + closed, u"v", u"");
    machine.registry.denyRead(View::Bits64, kKey + u"\\" + closed);
    machine.registry.setValue(View::Bits64, kKey, u"", REG_DWORD, {1, 0, 0, 0});
    machine.registry.setValue(View::Bits64, kKey, name, REG_DWORD, {1, 0, 0, 0});
    const Registry key(HKLM64, u"Software\\X", Registry::Mode::Write);
    DWORD type = 4711;
    EXPECT_FALSE(key.hasValue(name, &type)) << "a name with a separator leads elsewhere";
    EXPECT_FALSE(key.hasValue(u"missing\\v", &type));
    EXPECT_FALSE(key.hasValue(closed + u"\\v", &type));
    EXPECT_FALSE(key.hasSubkey(closed));
    EXPECT_EQ(type, 4711u);
    EXPECT_TRUE(key.hasValue(u"", &type));
    EXPECT_EQ(type, DWORD{REG_DWORD});
    EXPECT_TRUE(HKLM64.hasSubkey(u"Software"));
    EXPECT_EQ(key.getValueNames(), (Names{u"", name}));
    EXPECT_EQ(key.deleteNamedValue(name), ERROR_SUCCESS);
    EXPECT_EQ(key.deleteValue(u"missing\\v"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(key.getSubkeyNames(), Names{closed});
    EXPECT_EQ(key.getValueNames(), Names{u""});
}

TEST_F(RegistryTest, KeysAreDeletedByTheFunctionsThatAreThere) {
    const std::tuple<const char*, const char*, std::size_t> rows[] = {
        {"", "RegDeleteTreeW", 2},
        {"RegDeleteTreeW", "SHDeleteKeyW", 2},
        {"RegDeleteKeyExW", "RegDeleteKeyW", 1},
    };
    for (const auto& [hidden, used, records] : rows) {
        machine.registry.createKey(View::Bits64, kKey + u"\\a\\b");
        machine.modules.hideFunction(u"advapi32", hidden);
        EXPECT_NE(HKLM64.deleteSubkey(u"Software\\X"), ERROR_SUCCESS);
        machine.calls.clearJournal();
        EXPECT_NO_THROW(HKLM64.deleteKeyTree(u"Software\\X"));
        EXPECT_FALSE(machine.registry.hasKey(View::Bits64, kKey));
        EXPECT_EQ(machine.calls.count(used), 1u);
        EXPECT_EQ(log().size(), records);
    }
    EXPECT_NO_THROW(HKLM64.deleteKeyTree(u"Software\\X"));
    machine.calls.failCall("RegOpenKeyExW", 1, ERROR_KEY_DELETED);
    EXPECT_NO_THROW(HKLM64.deleteKeyTree(u"Software\\X"));
}

}  // namespace
