#include <set>

#include "unit/managers/Family.h"
#include "windows/installerdll/RegistryUtils.h"

using namespace family;

namespace {

const tstring kLegacy = kVendor + _T("\\Norv Runtime Environment");
const tstring kUserKey = _T("HKCU\\S-1-5-21-7\\Software\\Halvorex");
const tstring kClasses = _T("HKLM\\Software\\Classes\\");

TEST(RegistryManager, KeepsFamilyKeysInLineWithProducts) {
    const struct {
        const char* steps;
        const char* keys64;
        const char* keys32;
    } cases[] = {
        {"+r64:1.8.0_45 +r64:1.8.0_60", "Norv Runtime Environment=1.8{1.8 1.8.0_45 1.8.0_60}",
         "gone"},
        {"+r64:1.7.0_80 +r64:1.8.0_45 -r64:1.8.0_45", "Norv Runtime Environment=1.7{1.7 1.7.0_80}",
         "gone"},
        {"+r64:17 +r64:21 +r64:11 -r64:21 -r64:11", "QVR=17{17}", "gone"},
        // Each scheme has a "CurrentVersion" of its own.
        {"+r64:17 +r64:1.8.0_45", "Norv Runtime Environment=1.8{1.8 1.8.0_45} QVR=17{17}", "gone"},
        {"+r64:21 +r32:17 +k64:11.0.2+9 +k32:1.8.0_45", "QVK=11.0.2{11.0.2} QVR=21{21}",
         "Norv Development Kit=1.8{1.8 1.8.0_45} QVR=17{17}"},
        {"+r64:17 +r32:1.8.0_45 -r64:17 -r32:1.8.0_45", "gone", "gone"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.steps);
        Family pc;
        pc.run(c.steps);
        EXPECT_EQ(pc.tree(kVendor), c.keys64);
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), c.keys32);
        EXPECT_EQ(pc.errors(), Strings());
    }
}

TEST(RegistryManager, FamilySubkeySpeaksForTheBestProduct) {
    Family pc("r64:1.8.0_45 r64:1.8.0_60");
    auto& registry = pc.machine.registry;
    registry.setExpandString(View::Bits64, kLegacy + _T("\\1.8.0_60"), _T("RuntimeLib"), _T("%X%"));
    registry.setNumber(View::Bits64, kLegacy + _T("\\1.8.0_60"), _T("MicroVersion"), 60);
    // A product without a version key costs nothing but its own values.
    pc.listed.push_back(product("r64:1.7.0_80"));
    EXPECT_TRUE(pc.update(UpdateAction::Install, "r64:1.8.0_60"));

    EXPECT_EQ(pc.values(kLegacy + _T("\\1.8")), "RuntimeLib=%X%|NorvHome=C:\\Norv\\r64-1.8.0_60");
    EXPECT_EQ(registry.getValue(View::Bits64, kLegacy + _T("\\1.8"), _T("RuntimeLib"))->type,
              static_cast<DWORD>(REG_EXPAND_SZ));
    EXPECT_EQ(pc.value(kLegacy + _T("\\1.8.0_45"), _T("NorvHome")), "C:\\Norv\\r64-1.8.0_45\\");
    EXPECT_EQ(pc.values(kLegacy + _T("\\1.7")), "");
    EXPECT_EQ(pc.values(kLegacy), "CurrentVersion=1.8");
    ASSERT_EQ(pc.errors().size(), 1u);
    EXPECT_NE(pc.errors()[0].find("Registry::open"), std::string::npos);
}

TEST(RegistryManager, DeletesWhatBelongsToNoProduct) {
    const struct {
        const char* listed;
        const char* legacyKey;
        const char* userKey;
    } cases[] = {
        {"r64:1.8.0_45 k64:17", "1.6.0_20{MSI} 1.8 1.8.0_45",
         "Norv Runtime Environment{1.6.0_20{MSI} 1.8.0_45} Norv Update{Policy} Norv2D{1.8.0_45}"},
        {"k64:17", "gone", "Norv2D"},
        {"-", "gone", "gone"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Family pc;
        auto& registry = pc.machine.registry;
        for (const TCHAR* version : {_T("\\1.8.0_45"), _T("\\1.6.0_10"), _T("\\1.6.0_20\\MSI")}) {
            registry.createKey(View::Bits64, kLegacy + version);
            registry.createKey(View::Bits64, kUserKey + _T("\\Norv Runtime Environment") + version);
        }
        for (const TCHAR* key :
             {_T("\\Norv2D\\1.8.0_45"), _T("\\Norv2D\\1.6.0_10"), _T("\\Norv Update\\Policy")}) {
            registry.createKey(View::Bits64, kUserKey + key);
        }
        pc.listed = products(c.listed);
        EXPECT_TRUE(pc.update(UpdateAction::None, "r64:1.8.0_45"));
        EXPECT_EQ(pc.tree(kLegacy), c.legacyKey);
        EXPECT_EQ(pc.tree(kUserKey), c.userKey);
    }
}

TEST(RegistryManager, CleansTheVendorKeyAndNothingElse) {
    const struct {
        const char* listed;
        bool hasPreferences;
        const char* keys64;
        const char* keys32;
    } cases[] = {
        {"-", true, "PREFS{App}", "PREFS{App}"},
        {"-", false, "gone", "gone"},
        {"r32:17", true, "PREFS{App}", "/PREFS PREFS{App} QVR=17 Tool{Deep}"},
        {"k64:17", false, "QVK=17 Tool{Deep}", "Tool{Deep}"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.listed) + (c.hasPreferences ? " with preferences" : ""));
        Family pc;
        for (const View view : {View::Bits64, View::Bits32}) {
            const auto set = [&](const tstring& key, const TCHAR* name) {
                pc.machine.registry.setString(view, key, name, _T("x"));
            };
            set(kVendor + _T("\\Tool\\Deep"), _T(""));
            // Names that would lead elsewhere as paths, and what lies there.
            for (const TCHAR* name : {_T(""), _T("/a"), _T("\\b"), _T("App\\c"), _T("plain")}) {
                set(kVendor, name);
            }
            set(_T("HKLM\\Software"), _T("Halvorex"));
            if (c.hasPreferences) {
                set(kVendor + _T("\\PREFS"), _T(""));
                set(kVendor + _T("\\PREFS\\App"), _T("c"));
                set(kVendor + _T("\\/PREFS"), _T("d"));
            }
        }
        pc.listed = products(c.listed);
        EXPECT_TRUE(pc.update(UpdateAction::None, "r64:17"));
        EXPECT_EQ(pc.tree(kVendor), c.keys64);
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), c.keys32);
        EXPECT_EQ(pc.values(kVendor).empty(), c.listed[0] != 'k');
        EXPECT_EQ(pc.values(kVendor + _T("\\PREFS")), c.hasPreferences ? "=x" : "");
        EXPECT_EQ(pc.values(kVendor + _T("\\PREFS\\App")), c.hasPreferences ? "c=x" : "");
        EXPECT_EQ(pc.values(_T("HKLM\\Software")), "Halvorex=x");
        EXPECT_EQ(pc.errors(), Strings());
    }
}

TEST(RegistryManager, GoesOnPastWhatItGuards) {
    const struct {
        const char* listed;
        tstring denied;
        const char* guard;
    } cases[] = {
        {"r64:17 k64:17", _T("HKCU\\User"), "cleanUpForAllUsers"},
        {"r64:17 k64:17", kClasses + _T("Applications\\norv.exe"), "registerHostProcess"},
        {"r64:17 k64:17", kClasses + _T("vkrfile"), "updateVkrFileAssociation"},
        {"r64:17 k64:17", kClasses + _T("zpmfile"), "updateZpmFileAssociation"},
        {"-", kVendor, "cleanArchKeys"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.guard);
        Family pc(c.listed);
        pc.machine.registry.createKey(View::Bits64, c.denied);
        pc.machine.registry.denyWrite(View::Bits64, c.denied);
        RegistryManager manager;
        EXPECT_NO_THROW(pc.handle(manager));
        const std::string expected = "`anonymous-namespace'::" + std::string(c.guard) + " ";
        EXPECT_EQ(pc.catchPoints().substr(0, expected.size()), expected);
        EXPECT_EQ(pc.value(kClasses + _T(".zpm"), _T("")) == "zpmfile",
                  c.listed[0] == 'r' && c.denied != kClasses + _T("zpmfile"));
    }
}

TEST(RegistryManager, FailsWhereFamilyKeysCanNotBeTrusted) {
    const InstalledNorv qvr32 = product("r32:17");
    const InstalledNorv qvr64 = product("r64:17");
    const struct {
        InstalledNorvRange qvr32;
        const InstalledNorv* current;
        const char* text;
    } cases[] = {
        {{&qvr64, 1}, nullptr, "unexpected archs"},
        {{&qvr32, 1}, &qvr64, "Unexpected type of 'current' parameter"},
        {{}, &qvr32, "Unexpected value of 'current' parameter"},
    };
    std::set<std::string> places;  // each refusal has its own line
    for (const auto& c : cases) {
        Family pc("r32:11");
        UpdateContext context;
        context.qvr32 = c.qvr32;
        context.selection[0] = c.current;
        try {
            RegistryManager().handle(context, pc.config, nullptr);
            ADD_FAILURE() << c.text;
        } catch (const std::invalid_argument& e) {
            const std::string what = e.what();
            EXPECT_NE(what.find(c.text), std::string::npos) << what;
            EXPECT_TRUE(places.insert(what.substr(0, what.find(')'))).second) << what;
        }
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), "QVR{11}");
    }
}

TEST(RegistryManager, AssociatesFilesWithTheLatestProduct) {
    const struct {
        const char* listed;
        std::string vkr, zpm;  // the products
        bool hasNoTool = false;
    } cases[] = {
        {"r32:17 k64:17", "r32-17", "k64-17"},
        {"r64:17 k32:21 k64:21", "k64-21", "k64-21"},
        {"r64:17 k32:21 k64:11", "k32-21", "", true},
        {"-", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Family pc(c.listed);
        const auto set = [&](const tstring& key, const TCHAR* valueName) {
            pc.machine.registry.setString(View::Bits64, kClasses + key, valueName, _T("own"));
        };
        set(_T(".vkr"), _T("own"));
        set(_T("vkrfile"), _T("own"));
        set(_T("zpmfile\\shell\\edit"), _T("own"));
        set(_T("Applications\\norv.exe"), _T("IsHostApp"));
        set(_T("Applications\\norvw.exe"), _T("IsHostApp"));
        if (c.hasNoTool) {
            pc.machine.volumes.remove(_T("C:\\Norv\\k32-21\\bin\\wmq.exe"));
        }
        EXPECT_TRUE(pc.update(UpdateAction::None, "r64:17"));

        std::string associations;
        for (const TCHAR* key :
             {_T(".vkr"), _T("vkrfile"), _T("vkrfile\\shell\\open\\command"), _T(".zpm"),
              _T("zpmfile"), _T("zpmfile\\shell\\edit"), _T("zpmfile\\shell\\open\\command")}) {
            associations += pc.values(kClasses + key) + "\n";
        }
        EXPECT_EQ(associations,
                  (c.vkr.empty() ? "\n\n\n"
                                 : "own=own|=vkrfile\nown=own|=Executable Vkr File\n=\"C:\\Norv\\" +
                                       c.vkr + "\\bin\\norvw.exe\" -vkr \"%1\" %*\n") +
                      (c.zpm.empty() ? "\n\n\n\n"
                                     : "=zpmfile\n=Norv Zepmark File\nown=own\n=\"C:\\Norv\\" +
                                           c.zpm + "\\bin\\wmq.exe\" -open \"%1\" %*\n"));
        EXPECT_EQ(pc.tree(kClasses + _T("Applications")),
                  c.vkr.empty() ? "" : "norv.exe norvw.exe");
        EXPECT_EQ(pc.values(kClasses + _T("Applications\\norvw.exe")),
                  c.vkr.empty() ? "" : "IsHostApp=");
        EXPECT_EQ(pc.errors(), Strings());
    }
}

}  // namespace
