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
    EXPECT_EQ(HKLM.name(), u"HKLM");
    EXPECT_EQ(HKCU32.name(), u"HKCU32");
    EXPECT_EQ(HKCU64.name(), u"HKCU64");
    EXPECT_EQ(HKC.name(), u"HKC");
    for (const Registry* root : {&HKLM64, &HKLM32}) {
        root->setString(u"Software\\V\\", root->name());
    }
    EXPECT_EQ(HKLM32.deleteSubkey(u"Software\\V"), ERROR_SUCCESS);
    EXPECT_EQ(HKLM64.getString(u"Software\\V\\"), u"HKLM64");
    machine.become32Bit();
    EXPECT_EQ(Registry(HKEY_CURRENT_USER, KEY_WOW64_64KEY, u"HKCU").name(), u"HKCU");
}

struct StoredText {
    const char* name;
    DWORD type;
    std::vector<std::uint8_t> data;
    tstring text;
};

TEST_F(RegistryTest, TextsAreReadAsTheyAreStored) {
    const StoredText rows[] = {
        {.name = "without a NUL", .type = REG_SZ, .data = {'x', 0, 'y', 0}, .text = u"xy"},
        {.name = "to be expanded", .type = REG_EXPAND_SZ, .data = {'%', 0, 0, 0}, .text = u"%"},
        {.name = "half a character", .type = REG_SZ, .data = {'x', 0, 'y'}, .text = u"x"},
        {.name = "empty", .type = REG_SZ, .data = {}, .text = u""},
        {.name = "two NULs", .type = REG_SZ, .data = {'x', 0, 0, 0, 0, 0}, .text = {u"x\0", 2}},
        {.name = "no text", .type = REG_MULTI_SZ, .data = {'x', 0, 0, 0}, .text = u"other"},
    };
    for (const StoredText& row : rows) {
        SCOPED_TRACE(row.name);
        machine.registry.setValue(View::Bits64, kKey, u"v", row.type, row.data);
        DWORD type = 0;
        EXPECT_EQ(HKLM64.getValue(u"Software\\X\\v", type), row.data);
        EXPECT_EQ(type, row.type);
        EXPECT_EQ(HKLM64.getString(u"Software\\X/v", u"other"), row.text);
    }
    EXPECT_EQ(thrownText([&] { HKLM64.getString(u"Software\\X\\v"); }),
              "query string value (HKLM64\\Software\\X\\v) error: wrong type");
}

TEST_F(RegistryTest, ValuesAreFoundByTheirPath) {
    machine.registry.setString(View::Bits64, kKey, u"v", u"text");
    EXPECT_TRUE(HKLM64.hasValue(u"Software\\X\\v"));
    EXPECT_FALSE(HKLM64.hasValue(u"Software\\X\\w"));
    EXPECT_FALSE(HKLM64.hasValue(u"Software\\Y\\v"));
}

TEST_F(RegistryTest, AValueThatGrowsBetweenItsSizeAndItsDataIsReadAgain) {
    const tstring huge(1 << 20, u'h');
    machine.registry.setString(View::Bits64, kKey, u"", huge);
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

class RegistryQueries : public RegistryTest {
protected:
    RegistryQueries() {
        machine.registry.setString(View::Bits64, kKey + u"\\" + closed, u"v", u"");
        machine.registry.denyRead(View::Bits64, kKey + u"\\" + closed);
        machine.registry.setValue(View::Bits64, kKey, u"", REG_DWORD, {1, 0, 0, 0});
        machine.registry.setValue(View::Bits64, kKey, longName, REG_DWORD, {1, 0, 0, 0});
    }
    const tstring closed = tstring(255, u'k');
    const tstring longName = u"c/" + tstring(16381, u'v');
    static Registry key() { return Registry(HKLM64, u"Software\\X", Registry::Mode::Write); }
};

TEST_F(RegistryQueries, FindValuesWithTheirTypes) {
    DWORD type = 4711;
    EXPECT_FALSE(key().hasValue(longName, &type)) << "a name with a separator leads elsewhere";
    EXPECT_FALSE(key().hasValue(u"missing\\v", &type));
    EXPECT_FALSE(key().hasValue(closed + u"\\v", &type));
    EXPECT_EQ(type, 4711u);
    EXPECT_TRUE(key().hasValue(u"", &type));
    EXPECT_EQ(type, DWORD{REG_DWORD});
}

TEST_F(RegistryQueries, FindKeysThatMayBeRead) {
    EXPECT_TRUE(HKLM64.hasSubkey(u"Software"));
    EXPECT_FALSE(key().hasSubkey(closed));
}

TEST_F(RegistryQueries, ListNamesOfAnyLength) {
    EXPECT_EQ(key().getSubkeyNames(), Names{closed});
    EXPECT_EQ(key().getValueNames(), (Names{u"", longName}));
}

TEST_F(RegistryQueries, ValuesAreDeletedByNameOrPathAndNothingIsCreated) {
    EXPECT_EQ(key().deleteNamedValue(longName), ERROR_SUCCESS);
    EXPECT_EQ(key().deleteValue(u"missing\\v"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(key().getSubkeyNames(), Names{closed});
    EXPECT_EQ(key().getValueNames(), Names{u""});
}

TEST_F(RegistryTest, KeysAreDeletedByTheFunctionsThatAreThere) {
    const std::pair<const char*, const char*> hiddenAndUsed[] = {
        {"", "RegDeleteTreeW"},
        {"RegDeleteTreeW", "SHDeleteKeyW"},
        {"RegDeleteKeyExW", "RegDeleteKeyW"},
    };
    for (const auto& [hidden, used] : hiddenAndUsed) {
        machine.registry.createKey(View::Bits64, kKey + u"\\a\\b");
        machine.modules.hideFunction(u"advapi32", hidden);
        EXPECT_NE(HKLM64.deleteSubkey(u"Software\\X"), ERROR_SUCCESS);
        machine.calls.clearJournal();
        EXPECT_NO_THROW(HKLM64.deleteKeyTree(u"Software\\X"));
        EXPECT_FALSE(machine.registry.hasKey(View::Bits64, kKey));
        EXPECT_EQ(machine.calls.count(used), 1u);
    }
}

TEST_F(RegistryTest, AMissingKeyIsDeleted) {
    EXPECT_NO_THROW(HKLM64.deleteKeyTree(u"Software\\X"));
    machine.calls.failCall("RegOpenKeyExW", 1, ERROR_KEY_DELETED);
    EXPECT_NO_THROW(HKLM64.deleteKeyTree(u"Software\\X"));
}

}  // namespace
