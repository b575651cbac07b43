#include "windows/installerdll/RegistryUtils.h"

#include "common/share/LogException.h"
#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kLegacyQvr = kVendor + u"\\Norv Runtime Environment";
const tstring kLegacyQvk = kVendor + u"\\Norv Development Kit";
const tstring kUserKey = u"HKCU\\S-1-5-21-7\\Software\\Halvorex";

void addKeys(Family& pc, const tstring& key, const std::vector<tstring>& subkeys) {
    for (const tstring& subkey : subkeys) {
        pc.machine.registry.createKey(View::Bits64, key + u"\\" + subkey);
    }
}

TEST(RegistryManager, DeletesVersionKeysOfProductsThatAreNotInstalled) {
    Family pc({qvr("1.8.0_45"), qvr("1.7.0_80"), qvk("1.8.0_45")});
    addKeys(pc, kLegacyQvr, {u"1.6.0_10", u"1.6.0_20\\MSI"});
    EXPECT_TRUE(pc.update(UpdateAction::Remove, qvr("1.8.0_45")));
    EXPECT_EQ(pc.subkeys(kLegacyQvr), (Strings{"1.6.0_20", "1.6.0_20\\MSI", "1.7", "1.7.0_80"}))
        << "a key with subkeys stays";
    EXPECT_EQ(pc.subkeys(kLegacyQvk), (Strings{"1.8", "1.8.0_45"}));
}

TEST(RegistryManager, DeletesTheKeyOfATypeAndSchemeWithoutProducts) {
    Family pc({qvk("11.0.2+9"), qvk("1.8.0_60", 32), qvk("1.7.0_80", 32), qvk("9")});
    addKeys(pc, kVendor, {u"QVR\\9", u"Norv Development Kit\\1.6.0"});
    EXPECT_TRUE(pc.update(UpdateAction::Remove, qvk("9")));
    EXPECT_EQ(pc.subkeys(kVendor), (Strings{"QVK", "QVK\\11.0.2"}));
    EXPECT_EQ(pc.subkeys(kVendor, View::Bits32),
              (Strings{"Norv Development Kit", "Norv Development Kit\\1.7",
                       "Norv Development Kit\\1.7.0_80", "Norv Development Kit\\1.8",
                       "Norv Development Kit\\1.8.0_60"}));
}

TEST(RegistryManager, WritesTheCurrentVersionOfEachTypeSchemeAndArchitecture) {
    Family pc({qvr("11"), qvr("17"), qvr("1.8.0_45"), qvr("1.7.0_80"), qvk("11.0.2+9"),
               qvk("1.7.0_80", 32), qvk("1.8.0_60", 32)});
    pc.handle(RegistryManager());
    EXPECT_EQ(pc.value(kVendor + u"\\QVR", u"CurrentVersion"), "17");
    EXPECT_EQ(pc.value(kLegacyQvr, u"CurrentVersion"), "1.8");
    EXPECT_EQ(pc.value(kVendor + u"\\QVK", u"CurrentVersion"), "11.0.2");
    EXPECT_EQ(pc.value(kLegacyQvk, u"CurrentVersion", View::Bits32), "1.8");
}

TEST(RegistryManager, CopiesValuesOfTheBestProductToTheFamilySubkey) {
    Product best = qvr("1.8.0_60");
    best.versionKeyValues[u"NorvHome"] = u"C:\\home\\\\";
    Family pc({qvr("1.8.0_45"), best, qvr("1.8.0_51")});
    auto& registry = pc.machine.registry;
    registry.setExpandString(View::Bits64, best.versionKey, u"RuntimeLib", u"%X%");
    registry.setNumber(View::Bits64, best.versionKey, u"MicroVersion", 60);
    EXPECT_TRUE(pc.update(UpdateAction::Install, best));
    const tstring family = kLegacyQvr + u"\\1.8";
    EXPECT_EQ(pc.value(family, u"NorvHome"), "C:\\home");
    EXPECT_EQ(pc.value(family, u"RuntimeLib"), "%X%");
    EXPECT_EQ(registry.getValue(View::Bits64, family, u"RuntimeLib")->type, DWORD{REG_EXPAND_SZ});
    EXPECT_EQ(pc.value(family, u"MicroVersion"), kNone) << "a number";
}

TEST(RegistryManager, GoesOnPastAProductWithoutItsVersionKeyAndHome) {
    Family pc({qvr("1.7.0_80"), qvr("1.8.0_60")});
    pc.machine.registry.deleteKey(View::Bits64, qvr("1.7.0_80").versionKey);
    for (InstalledNorv& product : pc.listed) {
        product.homeDir.clear();
    }
    pc.handle(RegistryManager());
    EXPECT_EQ(pc.failedFunctions(), Strings{"`anonymous-namespace'::updateCurrentFamilyVersion"});
    EXPECT_EQ(pc.value(kLegacyQvr + u"\\1.8", u"MicroVersion"), "0");
}

TEST(RegistryManager, DeletesKeysOfUsersForProductsThatAreNotInstalled) {
    const struct {
        const char* name;
        std::vector<Product> installed;
        Strings expected;
    } cases[] = {
        {.name = "runtimes",
         .installed = {qvr("1.8.0_45")},
         .expected = {"Norv Runtime Environment", "Norv Runtime Environment\\1.6.0_20",
                      "Norv Runtime Environment\\1.6.0_20\\MSI",
                      "Norv Runtime Environment\\1.8.0_45", "Norv Update", "Norv Update\\Policy",
                      "Norv2D", "Norv2D\\1.8.0_45"}},
        {.name = "a kit alone",
         .installed = {qvk("1.8.0_45")},
         .expected = {"Norv2D", "Norv2D\\1.8.0_45"}},
        {.name = "no product", .installed = {}, .expected = {kNone}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Family pc(c.installed);
        addKeys(pc, kUserKey,
                {u"Norv Runtime Environment\\1.8.0_45", u"Norv Runtime Environment\\1.6.0_10",
                 u"Norv Runtime Environment\\1.6.0_20\\MSI", u"Norv2D\\1.8.0_45",
                 u"Norv2D\\1.6.0_10", u"Norv Update\\Policy"});
        pc.handle(RegistryManager());
        EXPECT_EQ(pc.subkeys(kUserKey), c.expected);
    }
}

TEST(RegistryManager, DeletesTheVendorsKeyOfArchitecturesWithoutProducts) {
    const struct {
        const char* name;
        std::vector<Product> installed;
        Strings keys64, keys32;
    } cases[] = {
        {.name = "no product", .installed = {}, .keys64 = {kNone}, .keys32 = {kNone}},
        {.name = "a 32-bit kit",
         .installed = {qvk("17", 32)},
         .keys64 = {kNone},
         .keys32 = {"QVK", "QVK\\17", "Tool"}},
        {.name = "a 64-bit product, with which the 32-bit key stays too",
         .installed = {qvr("17")},
         .keys64 = {"QVR", "QVR\\17", "Tool"},
         .keys32 = {"Tool"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Family pc(c.installed);
        for (const View view : {View::Bits64, View::Bits32}) {
            pc.machine.registry.createKey(view, kVendor + u"\\Tool");
        }
        pc.handle(RegistryManager());
        EXPECT_EQ(pc.subkeys(kVendor), c.keys64);
        EXPECT_EQ(pc.subkeys(kVendor, View::Bits32), c.keys32);
        EXPECT_EQ(pc.failedFunctions(), Strings());
    }
}

TEST(RegistryManager, KeepsPreferencesInTheVendorsKey) {
    Family pc({});
    auto& registry = pc.machine.registry;
    addKeys(pc, kVendor, {u"PREFS\\App", u"Tool\\Deep"});
    // Names that would lead elsewhere if they were taken for paths, and what is stored there.
    for (const TCHAR* name : {u"", u"/a", u"\\b", u"PREFS\\App\\c"}) {
        registry.setString(View::Bits64, kVendor, name, u"x");
    }
    registry.createKey(View::Bits64, kVendor + u"\\/PREFS");
    registry.setString(View::Bits64, kVendor + u"\\PREFS\\App", u"c", u"kept");
    registry.setString(View::Bits64, u"HKLM\\Software", u"Halvorex", u"kept");
    pc.handle(RegistryManager());
    EXPECT_EQ(pc.subkeys(kVendor), (Strings{"PREFS", "PREFS\\App"}));
    EXPECT_EQ(registry.valueNames(View::Bits64, kVendor), std::vector<tstring>());
    EXPECT_EQ(pc.value(kVendor + u"\\PREFS\\App", u"c"), "kept");
    EXPECT_EQ(pc.value(u"HKLM\\Software", u"Halvorex"), "kept");
}

TEST(RegistryManager, RegistersTheLaunchersAsHostsUntilTheLastProductIsRemoved) {
    Family pc({qvr("17")});
    EXPECT_TRUE(pc.update(UpdateAction::Install, qvr("17")));
    EXPECT_EQ(pc.value(kClasses + u"\\Applications\\norv.exe", u"IsHostApp"), "");
    EXPECT_EQ(pc.value(kClasses + u"\\Applications\\norvw.exe", u"IsHostApp"), "");
    EXPECT_TRUE(pc.update(UpdateAction::Remove, qvr("17")));
    EXPECT_EQ(pc.subkeys(kClasses + u"\\Applications"), Strings());
}

/// Returns the error of a manager whose only 32-bit runtimes are the first of the listed ones.
std::string errorOf(std::size_t runtimes, const Product& current) {
    const Family pc({qvr("11", 32), qvr("17", 32), qvr("17")});
    const InstalledNorv selected = NorvEnvironment::getByProductCode(pc.listed, Guid(current.code));
    UpdateContext context;
    context.qvr32 = InstalledNorvRange(pc.listed).first(runtimes);
    context.selection[0] = &selected;
    runLogged("test", [&] { RegistryManager().handle(context, pc.config, nullptr); });
    const std::string error = logMessages(pc.machine, "ERROR").at(0);
    return error.substr(error.find("(): ") + 4);
}

TEST(RegistryManager, RefusesProductsOfAnotherArchitecture) {
    EXPECT_EQ(errorOf(1, qvr("17")), "Unexpected type of 'current' parameter' caught");
    EXPECT_EQ(errorOf(1, qvr("17", 32)), "Unexpected value of 'current' parameter' caught");
    EXPECT_EQ(errorOf(3, qvr("17", 32)), "unexpected archs' caught");
}

}  // namespace
