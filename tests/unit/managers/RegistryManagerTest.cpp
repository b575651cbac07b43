#include "windows/installerdll/RegistryUtils.h"

#include "support/Thrown.h"
#include "unit/managers/Family.h"

using namespace family;

namespace {

constexpr auto kInstall = UpdateAction::Install;
constexpr auto kRemove = UpdateAction::Remove;

const tstring kLegacy = kVendor + u"\\Norv Runtime Environment";
const tstring kUserKey = u"HKCU\\S-1-5-21-7\\Software\\Halvorex";

TEST(RegistryManager, KeepsKeysInLineWithProducts) {
    const std::string kLegacy64 = "{Norv Runtime Environment[CurrentVersion=";
    const std::string kUser = "{Norv Runtime Environment{1.6.0_20{MSI}";
    const std::string kUpdateOfUser = "} Norv Update{Policy} Norv2D{1.8.0_45}}";
    const struct {
        const char* listed;
        UpdateAction action;
        const char* product;
        std::string keys64, keys32, users;
        bool latestChanged;
    } cases[] = {
        {"r64:1.8.0_45 r64:1.8.0_60 g64:2.2.0", kInstall, "r64:1.8.0_60",
         kLegacy64 + "1.8]{1.6.0_20{MSI} 1.8 1.8.0_45 1.8.0_60}}", "gone",
         kUser + " 1.8.0_45" + kUpdateOfUser, true},
        {"r64:1.7.0_80 r64:1.8.0_45 k64:1.8.0_45", kRemove, "r64:1.8.0_45",
         "{Norv Development Kit[CurrentVersion=1.8]{1.8 1.8.0_45} Norv Runtime "
         "Environment[CurrentVersion=1.7]{1.6.0_20{MSI} 1.7 1.7.0_80}}",
         "gone", kUser + kUpdateOfUser, true},
        // Each scheme has a "CurrentVersion" of its own.
        {"r64:17 r64:1.8.0_45 r64:11", kInstall, "r64:1.8.0_45",
         kLegacy64 + "1.8]{1.6.0_20{MSI} 1.8 1.8.0_45} QVR[CurrentVersion=17]{11 17}}", "gone",
         kUser + " 1.8.0_45" + kUpdateOfUser, false},
        // Of equal versions the 64-bit one leads.
        {"r64:17 r32:17", kRemove, "r32:17", "{QVR[CurrentVersion=17]{17}}", "",
         kUser + "} Norv Update{Policy} Norv2D}", false},
        {"k64:11.0.2+9 k32:1.8.0_60 k32:1.7.0_80 k64:9", kInstall, "k64:9",
         "{QVK[CurrentVersion=11.0.2]{11.0.2 9}}",
         "{Norv Development Kit[CurrentVersion=1.8]{1.7 1.7.0_80 1.8 1.8.0_60}}", "{Norv2D}",
         false},
        {"r32:1.8.0_45", kRemove, "r32:1.8.0_45", "gone", "gone", "gone", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + " / " + c.product);
        Family pc(c.listed);
        for (const tstring& key : {kLegacy, kUserKey + u"\\Norv Runtime Environment"}) {
            pc.machine.registry.createKey(View::Bits64, key + u"\\1.6.0_10");
            pc.machine.registry.createKey(View::Bits64, key + u"\\1.6.0_20\\MSI");
        }
        for (const TCHAR* key : {u"\\Norv Runtime Environment\\1.8.0_45", u"\\Norv2D\\1.8.0_45",
                                 u"\\Norv2D\\1.6.0_10", u"\\Norv Update\\Policy"}) {
            pc.machine.registry.createKey(View::Bits64, kUserKey + key);
        }
        EXPECT_TRUE(pc.update(c.action, c.product));
        EXPECT_EQ(pc.tree(kVendor), c.keys64);
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), c.keys32);
        EXPECT_EQ(pc.tree(kUserKey), c.users);
        EXPECT_EQ(pc.catchPoints(), "");
        const UpdatePlan plan(pc.listed, pc.product(c.product), c.action);
        EXPECT_EQ(plan.context().latestChanged, c.latestChanged);
    }
}

TEST(RegistryManager, FamilySubkeySpeaksForTheBestProduct) {
    Family pc("r64:1.8.0_45 r64:1.7.0_80 r64:1.8.0_60");
    auto& registry = pc.machine.registry;
    const tstring best = kLegacy + u"\\1.8.0_60";
    registry.setExpandString(View::Bits64, best, u"RuntimeLib", u"%X%");
    registry.setNumber(View::Bits64, best, u"MicroVersion", 60);
    registry.setString(View::Bits64, best, u"NorvHome", u"C:\\home\\\\");
    // A product without a version key costs nothing but its own values.
    registry.deleteKey(View::Bits64, kLegacy + u"\\1.7.0_80");
    EXPECT_TRUE(pc.update(kInstall, "r64:1.8.0_60"));
    const tstring family = kLegacy + u"\\1.8";
    EXPECT_EQ(registry.getValue(View::Bits64, family, u"RuntimeLib")->type, DWORD{REG_EXPAND_SZ});
    EXPECT_EQ(pc.value(family, u"NorvHome"), "C:\\home");
    EXPECT_EQ(registry.valueNames(View::Bits64, family).size(), 2u) << "of texts alone";
    EXPECT_EQ(pc.tree(kLegacy), "[CurrentVersion=1.8]{1.7 1.8 1.8.0_45 1.8.0_60}");
    EXPECT_TRUE(pc.update(kRemove, "r64:1.7.0_80"));
    EXPECT_EQ(pc.tree(kLegacy), "[CurrentVersion=1.8]{1.8 1.8.0_45 1.8.0_60}");
    EXPECT_EQ(pc.catchPoints(), "`anonymous-namespace'::updateCurrentFamilyVersion ");
}

TEST(RegistryManager, CleansTheVendorKeyAndNothingElse) {
    const std::string kValues = "[=x|/a=x|\\b=x|App\\c=x|plain=x]";
    const struct {
        const char* listed;
        bool hasPreferences;
        std::string keys64, keys32;
    } cases[] = {
        {"", true, "{PREFS{App[c=x]}}", "{PREFS{App[c=x]}}"},
        {"", false, "gone", "gone"},
        {"r32:17", true, "{PREFS{App[c=x]}}",
         kValues + "{/PREFS[d=x] PREFS{App[c=x]} QVR[CurrentVersion=17]{17} Tool{Deep[=x]}}"},
        {"k64:17", false, kValues + "{QVK[CurrentVersion=17]{17} Tool{Deep[=x]}}",
         kValues + "{Tool{Deep[=x]}}"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + (c.hasPreferences ? " with preferences" : ""));
        Family pc(c.listed);
        for (const View view : {View::Bits64, View::Bits32}) {
            const auto set = [&](const tstring& key, const TCHAR* name) {
                pc.machine.registry.setString(view, key, name, u"x");
            };
            set(kVendor + u"\\Tool\\Deep", u"");
            // Names that would lead elsewhere as paths, and what lies there.
            for (const TCHAR* name : {u"", u"/a", u"\\b", u"App\\c", u"plain"}) {
                set(kVendor, name);
            }
            set(u"HKLM\\Software", u"Halvorex");
            if (c.hasPreferences) {
                set(kVendor + u"\\PREFS\\App", u"c");
                set(kVendor + u"\\/PREFS", u"d");
            }
        }
        EXPECT_TRUE(pc.update());
        EXPECT_EQ(pc.tree(kVendor), c.keys64);
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), c.keys32);
        EXPECT_EQ(pc.value(u"HKLM\\Software", u"Halvorex"), "x");
    }
}

TEST(RegistryManager, RefusesACurrentProductOfAnotherKey) {
    const Family others("r32:17 r64:17");
    for (const InstalledNorv& current : others.listed) {
        Family pc("r32:11");
        UpdateContext context;
        context.qvr32 = pc.listed;
        context.selection[0] = &current;
        EXPECT_EQ(thrownText([&] { RegistryManager().handle(context, pc.config, nullptr); }),
                  current.bits == 64 ? "Unexpected type of 'current' parameter"
                                     : "Unexpected value of 'current' parameter");
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), "{QVR{11}}");
    }
}

}  // namespace
