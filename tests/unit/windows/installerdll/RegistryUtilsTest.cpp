#include "windows/installerdll/RegistryUtils.h"

#include <set>

#include "common/share/LogException.h"
#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kLegacy = kVendor + u"\\Norv Runtime Environment";
const tstring kUserKey = u"HKCU\\S-1-5-21-7\\Software\\Halvorex";

TEST(RegistryManager, KeepsKeysInLineWithProducts) {
    const std::string odd = "[=x|/a=x|\\b=x|App\\c=x|plain=x]{";
    const std::string tool = odd + "Tool{Deep}}";
    const std::string prefs = "{PREFS{App[c=x]}}";
    const std::string legacy = "Norv Runtime Environment[CurrentVersion=1.";
    const std::string user = "{Norv Runtime Environment{1.6.0_20{MSI}";
    const std::string update = "} Norv Update{Policy} Norv2D";
    const struct {
        const char* listed;
        const char* change;
        std::string keys64, keys32, users;
        bool latestChanged = false;
        bool hasPreferences = false;
    } cases[] = {
        {"r64:1.8.0_45 r64:1.8.0_60 g64:2.2.0", "+r64:1.8.0_60",
         odd + legacy + "8]{1.6.0_20{MSI} 1.8 1.8.0_45 1.8.0_60} Tool{Deep}}", tool,
         user + " 1.8.0_45" + update + "{1.8.0_45}}", true},
        {"r64:1.7.0_80 r64:1.8.0_45 k64:1.8.0_45", "-r64:1.8.0_45",
         odd + "Norv Development Kit[CurrentVersion=1.8]{1.8 1.8.0_45} " + legacy +
             "7]{1.6.0_20{MSI} 1.7 1.7.0_80} Tool{Deep}}",
         tool, user + update + "{1.8.0_45}}", true},
        // Each scheme has a "CurrentVersion" of its own.
        {"r64:17 r64:1.8.0_45 r64:11", "+r64:1.8.0_45",
         odd + legacy + "8]{1.6.0_20{MSI} 1.8 1.8.0_45} QVR[CurrentVersion=17]{11 17} Tool{Deep}}",
         tool, user + " 1.8.0_45" + update + "{1.8.0_45}}"},
        // Of equal versions the 64-bit one leads.
        {"r64:17 r32:17", "-r32:17", odd + "QVR[CurrentVersion=17]{17} Tool{Deep}}", tool,
         user + update + "}"},
        {"k64:11.0.2+9 k32:1.8.0_60 k32:1.7.0_80 k64:9", "-k64:9",
         odd + "QVK[CurrentVersion=11.0.2]{11.0.2} Tool{Deep}}",
         odd + "Norv Development Kit[CurrentVersion=1.8]{1.7 1.7.0_80 1.8 1.8.0_60} Tool{Deep}}",
         "{Norv2D}"},
        {"r32:17", "+r32:17", prefs,
         odd + "/PREFS[d=x] PREFS{App[c=x]} QVR[CurrentVersion=17]{17} Tool{Deep}}",
         user + update + "}", true, true},
        {"r32:1.8.0_45", "-r32:1.8.0_45", prefs, prefs, "gone", true, true},
        {"r64:1.8.0_45", "-r64:1.8.0_45", "gone", "gone", "gone", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + " " + c.change);
        Family pc(c.listed);
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
            if (c.hasPreferences) {
                registry.setString(view, kVendor + u"\\PREFS\\App", u"c", u"x");
                registry.setString(view, kVendor + u"\\/PREFS", u"d", u"x");
            }
        }
        const auto action = c.change[0] == '+' ? UpdateAction::Install : UpdateAction::Remove;
        const UpdatePlan plan(pc.listed, pc.product(c.change + 1), action);
        EXPECT_TRUE(pc.update(action, c.change + 1));
        EXPECT_EQ(pc.tree(kVendor), c.keys64);
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), c.keys32);
        EXPECT_EQ(pc.value(u"HKLM\\Software", u"Halvorex"), "x");
        EXPECT_EQ(pc.tree(kUserKey), c.users);
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
