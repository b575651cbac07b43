#include "windows/installerdll/RegistryUtils.h"

#include <set>

#include "common/share/LogException.h"
#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kLegacy = kVendor + u"\\Norv Runtime Environment";
const tstring kUserKey = u"HKCU\\S-1-5-21-7\\Software\\Halvorex";

/// A change, and the keys afterwards as `Family::tree` shows them.
struct Change {
    const char* name;
    const char* listed;
    UpdateAction action;
    const char* changed;
    std::string keys64, keys32, userKeys;
    bool latestChanged = false;
    bool hasPreferences = false;
};

const Change kChanges[] = {
    {.name = "the older of a family joins the newer",
     .listed = "r64:1.8.0_45 r64:1.8.0_60 g64:2.2.0",
     .action = UpdateAction::Install,
     .changed = "r64:1.8.0_60",
     .keys64 =
         R"([=x|/a=x|\b=x|App\c=x|plain=x]{Norv Runtime Environment[CurrentVersion=1.8]{1.6.0_20{MSI} 1.8 1.8.0_45 1.8.0_60} Tool{Deep}})",
     .keys32 = R"([=x|/a=x|\b=x|App\c=x|plain=x]{Tool{Deep}})",
     .userKeys =
         "{Norv Runtime Environment{1.6.0_20{MSI} 1.8.0_45} Norv Update{Policy} Norv2D{1.8.0_45}}",
     .latestChanged = true},
    {.name = "the key of a removed runtime is deleted, that of a kit of its version stays",
     .listed = "r64:1.7.0_80 r64:1.8.0_45 k64:1.8.0_45",
     .action = UpdateAction::Remove,
     .changed = "r64:1.8.0_45",
     .keys64 =
         R"([=x|/a=x|\b=x|App\c=x|plain=x]{Norv Development Kit[CurrentVersion=1.8]{1.8 1.8.0_45} Norv Runtime Environment[CurrentVersion=1.7]{1.6.0_20{MSI} 1.7 1.7.0_80} Tool{Deep}})",
     .keys32 = R"([=x|/a=x|\b=x|App\c=x|plain=x]{Tool{Deep}})",
     .userKeys = "{Norv Runtime Environment{1.6.0_20{MSI}} Norv Update{Policy} Norv2D{1.8.0_45}}",
     .latestChanged = true},
    {.name = "each scheme has a CurrentVersion of its own",
     .listed = "r64:17 r64:1.8.0_45 r64:11",
     .action = UpdateAction::Install,
     .changed = "r64:1.8.0_45",
     .keys64 =
         R"([=x|/a=x|\b=x|App\c=x|plain=x]{Norv Runtime Environment[CurrentVersion=1.8]{1.6.0_20{MSI} 1.8 1.8.0_45} QVR[CurrentVersion=17]{11 17} Tool{Deep}})",
     .keys32 = R"([=x|/a=x|\b=x|App\c=x|plain=x]{Tool{Deep}})",
     .userKeys =
         "{Norv Runtime Environment{1.6.0_20{MSI} 1.8.0_45} Norv Update{Policy} Norv2D{1.8.0_45}}"},
    {.name = "the 64-bit product of a version keeps its key when the 32-bit one is removed",
     .listed = "r64:17 r32:17",
     .action = UpdateAction::Remove,
     .changed = "r32:17",
     .keys64 = R"([=x|/a=x|\b=x|App\c=x|plain=x]{QVR[CurrentVersion=17]{17} Tool{Deep}})",
     .keys32 = R"([=x|/a=x|\b=x|App\c=x|plain=x]{Tool{Deep}})",
     .userKeys = "{Norv Runtime Environment{1.6.0_20{MSI}} Norv Update{Policy} Norv2D}"},
    {.name = "kits of both schemes and architectures",
     .listed = "k64:11.0.2+9 k32:1.8.0_60 k32:1.7.0_80 k64:9",
     .action = UpdateAction::Remove,
     .changed = "k64:9",
     .keys64 = R"([=x|/a=x|\b=x|App\c=x|plain=x]{QVK[CurrentVersion=11.0.2]{11.0.2} Tool{Deep}})",
     .keys32 =
         R"([=x|/a=x|\b=x|App\c=x|plain=x]{Norv Development Kit[CurrentVersion=1.8]{1.7 1.7.0_80 1.8 1.8.0_60} Tool{Deep}})",
     .userKeys = "{Norv2D}"},
    {.name = "preferences stay in the view without a product",
     .listed = "r32:17",
     .action = UpdateAction::Install,
     .changed = "r32:17",
     .keys64 = "{PREFS{App[c=x]}}",
     .keys32 =
         R"([=x|/a=x|\b=x|App\c=x|plain=x]{/PREFS[d=x] PREFS{App[c=x]} QVR[CurrentVersion=17]{17} Tool{Deep}})",
     .userKeys = "{Norv Runtime Environment{1.6.0_20{MSI}} Norv Update{Policy} Norv2D}",
     .latestChanged = true,
     .hasPreferences = true},
    {.name = "preferences stay when the last product goes",
     .listed = "r32:1.8.0_45",
     .action = UpdateAction::Remove,
     .changed = "r32:1.8.0_45",
     .keys64 = "{PREFS{App[c=x]}}",
     .keys32 = "{PREFS{App[c=x]}}",
     .userKeys = "gone",
     .latestChanged = true,
     .hasPreferences = true},
    {.name = "nothing stays when the last product goes",
     .listed = "r64:1.8.0_45",
     .action = UpdateAction::Remove,
     .changed = "r64:1.8.0_45",
     .keys64 = "gone",
     .keys32 = "gone",
     .userKeys = "gone",
     .latestChanged = true},
};

/// Adds keys of older products, of users and of others, and values whose names would lead elsewhere
/// as paths.
void addOtherKeys(Family& pc, bool hasPreferences) {
    auto& registry = pc.machine.registry;
    for (const tstring& key : {kLegacy, kUserKey + u"\\Norv Runtime Environment"}) {
        registry.createKey(View::Bits64, key + u"\\1.6.0_10");
        registry.createKey(View::Bits64, key + u"\\1.6.0_20\\MSI");
    }
    for (const TCHAR* key : {u"\\Norv Runtime Environment\\1.8.0_45", u"\\Norv2D\\1.8.0_45",
                             u"\\Norv2D\\1.6.0_10", u"\\Norv Update\\Policy"}) {
        registry.createKey(View::Bits64, kUserKey + key);
    }
    for (const View view : {View::Bits64, View::Bits32}) {
        registry.createKey(view, kVendor + u"\\Tool\\Deep");
        // Names that would lead elsewhere as paths, and what lies there.
        for (const TCHAR* name : {u"", u"/a", u"\\b", u"App\\c", u"plain"}) {
            registry.setString(view, kVendor, name, u"x");
        }
        registry.setString(view, u"HKLM\\Software", u"Halvorex", u"x");
        if (hasPreferences) {
            registry.setString(view, kVendor + u"\\PREFS\\App", u"c", u"x");
            registry.setString(view, kVendor + u"\\/PREFS", u"d", u"x");
        }
    }
}

TEST(RegistryManager, KeepsKeysInLineWithProducts) {
    for (const Change& c : kChanges) {
        SCOPED_TRACE(c.name);
        Family pc(c.listed);
        addOtherKeys(pc, c.hasPreferences);
        const UpdatePlan plan(pc.listed, pc.product(c.changed), c.action);
        EXPECT_TRUE(pc.update(c.action, c.changed));
        EXPECT_EQ(pc.tree(kVendor), c.keys64);
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), c.keys32);
        EXPECT_EQ(pc.value(u"HKLM\\Software", u"Halvorex"), "x");
        EXPECT_EQ(pc.tree(kUserKey), c.userKeys);
        EXPECT_EQ(pc.files(kMenu).empty(), plan.context().all.empty())
            << "shortcuts of what remains";
        EXPECT_EQ(pc.catchPoints(), "");
        EXPECT_EQ(plan.context().latestChanged, c.latestChanged);
    }
}

TEST(RegistryManager, FamilySubkeySpeaksForTheBestProduct) {
    Family pc("r64:1.8.0_45 r64:1.7.0_80 r64:1.8.0_60");
    auto& registry = pc.machine.registry;
    registry.setExpandString(View::Bits64, kLegacy + u"\\1.8.0_60", u"RuntimeLib", u"%X%");
    registry.setNumber(View::Bits64, kLegacy + u"\\1.8.0_60", u"MicroVersion", 60);
    registry.setString(View::Bits64, kLegacy + u"\\1.8.0_60", u"NorvHome", u"C:\\home\\\\");
    // A product without a version key costs nothing but its own values.
    registry.deleteKey(View::Bits64, kLegacy + u"\\1.7.0_80");
    pc.listed[1].homeDir.clear();  // nor one whose home wasn't found
    EXPECT_TRUE(pc.update(UpdateAction::Install, "r64:1.8.0_60"));
    const tstring family = kLegacy + u"\\1.8";
    EXPECT_EQ(registry.getValue(View::Bits64, family, u"RuntimeLib")->type, DWORD{REG_EXPAND_SZ});
    EXPECT_EQ(pc.value(family, u"NorvHome"), "C:\\home");
    EXPECT_EQ(registry.valueNames(View::Bits64, family).size(), 2u) << "of texts alone";
    EXPECT_EQ(pc.tree(kLegacy), "[CurrentVersion=1.8]{1.7 1.8 1.8.0_45 1.8.0_60}");
    EXPECT_TRUE(pc.update(UpdateAction::Remove, "r64:1.7.0_80"));
    EXPECT_EQ(pc.tree(kLegacy), "[CurrentVersion=1.8]{1.8 1.8.0_45 1.8.0_60}");
    EXPECT_EQ(pc.catchPoints(), "`anonymous-namespace'::updateCurrentFamilyVersion ");
}

TEST(RegistryManager, RefusesProductsOfAnotherKey) {
    const Family others("r32:17 r64:17");
    std::set<std::string> places;  // each refusal has its own line
    for (const InstalledNorv& current : others.listed) {
        Family pc("r32:11");
        UpdateContext context;
        context.qvr32 = pc.listed;
        context.selection[0] = &current;
        RegistryManager manager;
        runLogged("test", [&] { manager.handle(context, pc.config, nullptr); });
        const std::string record = logMessages(pc.machine, "ERROR").at(0);
        EXPECT_NE(record.find(current.bits == 64 ? "Unexpected type of 'current' parameter"
                                                 : "Unexpected value of 'current' parameter"),
                  std::string::npos);
        EXPECT_TRUE(places.insert(record.substr(0, record.find(')'))).second) << record;
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), "{QVR{11}}");
    }
    Family pc("r32:11");
    UpdateContext context;
    context.qvr32 = others.listed;
    runLogged("test", [&] { RegistryManager().handle(context, pc.config, nullptr); });
    EXPECT_TRUE(logMentions(pc.machine, "unexpected archs"));
}

}  // namespace
