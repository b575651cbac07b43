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
        {"+r64:1.8.0_45", "Norv Runtime Environment=1.8{1.8 1.8.0_45}", "gone"},
        {"+k32:21.0.12.1+1", "gone", "QVK=21.0.12.1{21.0.12.1}"},
        {"+r64:1.8.0_45 +r64:1.8.0_60", "Norv Runtime Environment=1.8{1.8 1.8.0_45 1.8.0_60}",
         "gone"},
        {"+r64:1.8.0_45 +r64:1.7.0_80", "Norv Runtime Environment=1.8{1.7 1.7.0_80 1.8 1.8.0_45}",
         "gone"},
        {"+r64:1.7.0_80 +r64:1.8.0_45 -r64:1.8.0_45", "Norv Runtime Environment=1.7{1.7 1.7.0_80}",
         "gone"},
        {"+r64:1.8.0_45 +r64:1.8.0_60 -r64:1.8.0_60", "Norv Runtime Environment=1.8{1.8 1.8.0_45}",
         "gone"},
        {"+r64:17 +r64:21 +r64:11", "QVR=21{11 17 21}", "gone"},
        {"+r64:17 +r64:21 +r64:11 -r64:21 -r64:11", "QVR=17{17}", "gone"},
        // Each scheme has a "CurrentVersion" of its own.
        {"+r64:17 +r64:1.8.0_45", "Norv Runtime Environment=1.8{1.8 1.8.0_45} QVR=17{17}", "gone"},
        {"+r64:17 +r64:1.8.0_45 -r64:17", "Norv Runtime Environment=1.8{1.8 1.8.0_45}", "gone"},
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

    EXPECT_EQ(pc.value(kLegacy + _T("\\1.8"), _T("NorvHome")), "C:\\Norv\\r64-1.8.0_60");
    EXPECT_EQ(pc.value(kLegacy + _T("\\1.8.0_45"), _T("NorvHome")), "C:\\Norv\\r64-1.8.0_45\\");
    const auto library = registry.getValue(View::Bits64, kLegacy + _T("\\1.8"), _T("RuntimeLib"));
    EXPECT_TRUE(library && library->type == REG_EXPAND_SZ);
    EXPECT_EQ(pc.value(kLegacy + _T("\\1.8"), _T("RuntimeLib")), "%X%");
    EXPECT_EQ(registry.valueNames(View::Bits64, kLegacy + _T("\\1.8")).size(), 2u);
    EXPECT_TRUE(registry.valueNames(View::Bits64, kLegacy + _T("\\1.7")).empty());
    EXPECT_EQ(pc.value(kLegacy, _T("CurrentVersion")), "1.8");
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
        {"k64:17", "gone", "Norv2D Other"},
        {"-", "gone", "gone"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Family pc;
        for (const TCHAR* version : {_T("\\1.8.0_45"), _T("\\1.6.0_10"), _T("\\1.6.0_20\\MSI")}) {
            for (const tstring& root : {kLegacy, kUserKey + _T("\\Norv Runtime Environment")}) {
                pc.machine.registry.createKey(View::Bits64, root + version);
            }
        }
        for (const TCHAR* key :
             {_T("\\Norv2D\\1.8.0_45"), _T("\\Norv2D\\1.6.0_10"), _T("\\Norv Update\\Policy")}) {
            pc.machine.registry.createKey(View::Bits64, kUserKey + key);
        }
        if (c.listed[0] == 'k') {
            pc.machine.registry.createKey(View::Bits64, kUserKey + _T("\\Other"));
        }
        pc.listed = products(c.listed);
        EXPECT_TRUE(pc.update(UpdateAction::None, "r64:1.8.0_45"));
        EXPECT_EQ(pc.tree(kLegacy), c.legacyKey);
        EXPECT_EQ(pc.tree(kUserKey), c.userKey);
    }
}

TEST(RegistryManager, KeepsPreferencesAlone) {
    const struct {
        const char* listed;
        bool hasPreferences;
        const char* keys64;
        const char* keys32;
    } cases[] = {
        {"-", true, "Prefs{App}", "Prefs{App}"},
        {"-", false, "gone", "gone"},
        {"r32:17", true, "Prefs{App}", "Prefs{App} QVR=17 Tool{Deep}"},
        {"r32:17", false, "gone", "QVR=17 Tool{Deep}"},
        {"k64:17", true, "Prefs{App} QVK=17 Tool{Deep}", "Prefs{App} Tool{Deep}"},
    };
    for (const auto& c : cases) {
        Family pc;
        for (const View view : {View::Bits64, View::Bits32}) {
            pc.machine.registry.createKey(view, kVendor + _T("\\Tool\\Deep"));
            pc.machine.registry.setString(view, kVendor, _T("value"), _T("text"));
            if (c.hasPreferences) {
                pc.machine.registry.setString(view, kVendor + _T("\\Prefs\\App"), _T("x"), _T("y"));
            }
        }
        pc.listed = products(c.listed);
        EXPECT_TRUE(pc.update(UpdateAction::None, "r64:17"));
        EXPECT_EQ(pc.tree(kVendor), c.keys64);
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), c.keys32);
        EXPECT_EQ(pc.value(kVendor, _T("value")), c.listed[0] == 'k' ? "text" : "(none)");
        EXPECT_EQ(pc.value(kVendor + _T("\\Prefs\\App"), _T("x")),
                  c.hasPreferences ? "y" : "(none)");
    }
}

/// Names that would lead elsewhere as paths, and what lies there.
TEST(RegistryManager, CleansTheVendorKeyAndNothingElse) {
    Family pc;
    auto& registry = pc.machine.registry;
    const auto set = [&](const tstring& key, const TCHAR* name) {
        registry.setString(View::Bits64, key, name, _T("x"));
    };
    for (const TCHAR* name : {_T(""), _T("/a"), _T("b/"), _T("\\c"), _T("App\\d"), _T("plain")}) {
        set(kVendor, name);
    }
    for (const TCHAR* key : {_T("\\/PREFS"), _T("\\Tool/"), _T("\\Tool"), _T("\\PREFS\\App")}) {
        set(kVendor + key, _T("d"));
    }
    set(_T("HKLM\\Software"), _T("Halvorex"));
    set(kVendor + _T("\\PREFS"), _T(""));
    EXPECT_TRUE(pc.update(UpdateAction::None, "r64:17"));
    EXPECT_EQ(registry.valueNames(View::Bits64, kVendor), std::vector<tstring>());
    EXPECT_EQ(pc.tree(kVendor), "PREFS{App}");
    EXPECT_EQ(pc.value(kVendor + _T("\\PREFS"), _T("")), "x");
    EXPECT_EQ(pc.value(kVendor + _T("\\PREFS\\App"), _T("d")), "x");
    EXPECT_EQ(pc.value(_T("HKLM\\Software"), _T("Halvorex")), "x");
    EXPECT_EQ(pc.errors(), Strings());
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
        std::set<std::string> guards;
        for (const LogRecord& record : logRecords(pc.machine)) {
            if (record.level == "ERROR") {
                guards.insert(record.function);
            }
        }
        EXPECT_EQ(guards, std::set{"`anonymous-namespace'::" + std::string(c.guard)});
        const bool isLastStepDone = pc.value(kClasses + _T(".zpm"), _T("")) == "zpmfile";
        EXPECT_EQ(isLastStepDone, c.listed[0] == 'r' && c.denied != kClasses + _T("zpmfile"));
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
    RegistryManager manager;
    std::set<std::string> places;  // each refusal has its own line
    for (const auto& c : cases) {
        Family pc("r32:11");
        UpdateContext context;
        context.qvr32 = c.qvr32;
        context.selection[0] = c.current;
        try {
            manager.handle(context, pc.config, nullptr);
            ADD_FAILURE() << c.text;
        } catch (const std::invalid_argument& e) {
            const std::string what = e.what();
            EXPECT_NE(what.find(c.text), std::string::npos) << what;
            EXPECT_TRUE(places.insert(what.substr(0, what.find(')'))).second) << what;
        }
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), "QVR{11}");
    }

    // What can't be enumerated stays, "CurrentVersion" too; what can't be copied is logged only.
    Family pc;
    pc.run("+r64:1.8.0_45");
    pc.put("r64:1.9.0_10");
    pc.machine.calls.failCall("RegEnumKeyExW", 1, ERROR_ACCESS_DENIED);
    EXPECT_THROW(pc.handle(manager), SysError);
    EXPECT_EQ(pc.tree(kLegacy), "1.8 1.8.0_45 1.9.0_10");
    EXPECT_EQ(pc.value(kLegacy, _T("CurrentVersion")), "1.8");
    pc.machine.calls.failAll("RegQueryValueExW", ERROR_ACCESS_DENIED);
    pc.handle(manager);
    EXPECT_EQ(pc.value(kLegacy, _T("CurrentVersion")), "1.9");
}

TEST(RegistryManager, AssociatesFilesWithTheLatestProduct) {
    const struct {
        const char* listed;
        const char* vkr;
        const char* zpm;
        const TCHAR* without = nullptr;
    } cases[] = {
        {"r64:17 k64:17 r32:17", "r64-17", "k64-17"},
        {"r32:17 k64:17", "r32-17", "k64-17"},
        {"r64:17 k32:21 k64:21", "k64-21", "k64-21"},
        {"r64:17 k32:21 k64:11", "k32-21", "", _T("C:\\Norv\\k32-21\\bin\\wmq.exe")},
        {"r64:1.8.0_45 r32:9", "r32-9", ""},
        {"-", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Family pc(c.listed);
        const auto set = [&](const tstring& key, const TCHAR* valueName) {
            pc.machine.registry.setString(View::Bits64, kClasses + key, valueName, _T("own"));
        };
        set(_T("vkrfile"), _T("user's"));
        set(_T("zpmfile\\shell\\edit"), _T("user's"));
        set(_T("Applications\\norv.exe"), _T("IsHostApp"));
        set(_T("Applications\\norvw.exe"), _T("IsHostApp"));
        if (c.without != nullptr) {
            pc.machine.volumes.remove(c.without);
        }
        EXPECT_TRUE(pc.update(UpdateAction::None, "r64:17"));

        const auto association = [&](const tstring& extension, const tstring& identifier) {
            return pc.value(kClasses + extension, _T("")) + "|" +
                   pc.value(kClasses + identifier, _T("")) + "|" +
                   pc.value(kClasses + identifier + _T("\\shell\\open\\command"), _T(""));
        };
        const std::string home(c.vkr);
        const std::string kit(c.zpm);
        const std::string none = "(none)|(none)|(none)";
        EXPECT_EQ(association(_T(".vkr"), _T("vkrfile")),
                  home.empty() ? none
                               : "vkrfile|Executable Vkr File|\"C:\\Norv\\" + home +
                                     "\\bin\\norvw.exe\" -vkr \"%1\" %*");
        EXPECT_EQ(association(_T(".zpm"), _T("zpmfile")),
                  kit.empty() ? none
                              : "zpmfile|Norv Zepmark File|\"C:\\Norv\\" + kit +
                                    "\\bin\\wmq.exe\" -open \"%1\" %*");
        EXPECT_EQ(pc.value(kClasses + _T("vkrfile"), _T("user's")),
                  home.empty() ? "(none)" : "own");
        EXPECT_EQ(pc.tree(kClasses + _T("zpmfile")),
                  kit.empty() ? "gone" : "shell{edit open{command}}");
        EXPECT_EQ(pc.tree(kClasses + _T("Applications")), home.empty() ? "" : "norv.exe norvw.exe");
        const auto host = pc.machine.registry.getValue(
            View::Bits64, kClasses + _T("Applications\\norvw.exe"), _T("IsHostApp"));
        EXPECT_TRUE(home.empty() || (host->type == REG_SZ && host->data.size() == 2));
        EXPECT_EQ(pc.errors(), Strings());
    }
}

}  // namespace
