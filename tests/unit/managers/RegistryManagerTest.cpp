#include "support/LogReader.h"
#include "unit/managers/Family.h"
#include "windows/installerdll/RegistryUtils.h"

using namespace family;

namespace {

const tstring kUser = _T("HKCU\\S-1-5-21-7");
const tstring kUserKey = kUser + _T("\\Software\\Halvorex");
const tstring kClasses = _T("HKLM\\Software\\Classes\\");

TEST(RegistryManager, KeepsFamilyKeysInLineWithProducts) {
    const struct {
        const char* steps;
        const char* keys64;
        const char* keys32;
    } cases[] = {
        {"+r64:1.8.0_45", "Norv Runtime Environment{1.8,1.8.0_45}=1.8", ""},
        {"+k32:21.0.12.1+1", "", "QVK{21.0.12.1}=21.0.12.1"},
        {"+r64:1.8.0_45 +r64:1.8.0_60", "Norv Runtime Environment{1.8,1.8.0_45,1.8.0_60}=1.8", ""},
        {"+r64:1.8.0_45 +r64:1.7.0_80", "Norv Runtime Environment{1.7,1.7.0_80,1.8,1.8.0_45}=1.8",
         ""},
        {"+r64:1.7.0_80 +r64:1.8.0_45 -r64:1.8.0_45", "Norv Runtime Environment{1.7,1.7.0_80}=1.7",
         ""},
        {"+r64:1.8.0_45 +r64:1.8.0_60 -r64:1.8.0_60", "Norv Runtime Environment{1.8,1.8.0_45}=1.8",
         ""},
        {"+r64:21 +r64:17 +r64:11", "QVR{11,17,21}=21", ""},
        {"+r64:17 +r64:21 +r64:11 -r64:21", "QVR{11,17}=17", ""},
        {"+r64:17 +r64:21 -r64:17", "QVR{21}=21", ""},
        // Each scheme has a "CurrentVersion" of its own.
        {"+r64:17 +r64:1.8.0_45 +r64:1.7.0_80 -r64:1.7.0_80",
         "Norv Runtime Environment{1.8,1.8.0_45}=1.8 QVR{17}=17", ""},
        {"+r64:17 +r64:1.8.0_45 -r64:17", "Norv Runtime Environment{1.8,1.8.0_45}=1.8", ""},
        {"+r64:21 +r32:17 +k64:11.0.2+9 +k32:1.8.0_45", "QVR{21}=21 QVK{11.0.2}=11.0.2",
         "QVR{17}=17 Norv Development Kit{1.8,1.8.0_45}=1.8"},
        {"+r64:17 +r32:1.8.0_45 -r64:17 -r32:1.8.0_45", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.steps);
        Family pc;
        pc.run(c.steps);
        EXPECT_EQ(pc.familyKeys(View::Bits64), c.keys64);
        EXPECT_EQ(pc.familyKeys(View::Bits32), c.keys32);
        EXPECT_TRUE(logMessages(pc.machine, "ERROR").empty());
    }
}

TEST(RegistryManager, FamilySubkeySpeaksForTheBestProduct) {
    Family pc;
    const tstring legacy = kVendor + _T("\\Norv Runtime Environment");
    const tstring key60 = legacy + _T("\\1.8.0_60");
    pc.put("r64:1.8.0_45");
    pc.put("r64:1.8.0_60");
    pc.machine.registry.setExpandString(View::Bits64, key60, _T("RuntimeLib"), _T("%X%\\n.dll"));
    pc.machine.registry.setNumber(View::Bits64, key60, _T("MicroVersion"), 60);
    // A product without a version key costs nothing but its own values.
    pc.listed.push_back(product("r64:1.7.0_80"));
    ASSERT_TRUE(pc.update(UpdateAction::Install, "r64:1.8.0_60"));

    const tstring family = legacy + _T("\\1.8");
    EXPECT_EQ(pc.value(family, _T("NorvHome")), "C:\\Norv\\r64-1.8.0_60");
    EXPECT_EQ(pc.value(legacy + _T("\\1.8.0_45"), _T("NorvHome")), "C:\\Norv\\r64-1.8.0_45\\");
    EXPECT_EQ(pc.machine.registry.getValue(View::Bits64, family, _T("RuntimeLib"))->type,
              static_cast<DWORD>(REG_EXPAND_SZ));
    EXPECT_EQ(pc.value(family, _T("RuntimeLib")), "%X%\\n.dll");
    EXPECT_EQ(pc.machine.registry.valueNames(View::Bits64, family).size(), 2u);
    EXPECT_TRUE(pc.machine.registry.valueNames(View::Bits64, legacy + _T("\\1.7")).empty());
    EXPECT_EQ(pc.value(legacy, _T("CurrentVersion")), "1.8");
    const auto errors = logMessages(pc.machine, "ERROR");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find("Registry::open"), std::string::npos) << errors[0];
}

TEST(RegistryManager, DeletesWhatBelongsToNoProduct) {
    const struct {
        const char* listed;
        const char* machineKeys;  // below the legacy QVR key
        const char* userKeys;     // of the user: legacy QVR; updater; graphics
    } cases[] = {
        {"r64:1.8.0_45 k64:17", "1.6.0_20 1.8 1.8.0_45", "1.6.0_20 1.8.0_45; there; 1.8.0_45"},
        {"k64:17", "gone", "gone; gone; "},
        {"-", "gone", "gone; gone; gone"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Family pc;
        auto& registry = pc.machine.registry;
        const tstring legacy = _T("\\Norv Runtime Environment");
        for (const tstring& root :
             {kVendor + legacy, kUserKey + legacy, kUserKey + _T("\\Norv2D")}) {
            for (const TCHAR* version : {_T("\\1.8.0_45"), _T("\\1.6.0_10")}) {
                registry.createKey(View::Bits64, root + version);
            }
        }
        for (const tstring& root : {kVendor + legacy, kUserKey + legacy}) {
            registry.createKey(View::Bits64, root + _T("\\1.6.0_20\\MSI"));
        }
        registry.createKey(View::Bits64, kUserKey + _T("\\Norv Update\\Policy"));
        pc.listed = products(c.listed);
        EXPECT_TRUE(pc.update(UpdateAction::None, "r64:1.8.0_45"));

        const auto subkeys = [&](const tstring& key) -> std::string {
            if (!registry.hasKey(View::Bits64, key)) {
                return "gone";
            }
            std::string result;
            for (const tstring& subkey : registry.subkeys(View::Bits64, key)) {
                result += (result.empty() ? "" : " ") + toUtf8(subkey);
            }
            return result;
        };
        EXPECT_EQ(subkeys(kVendor + legacy), c.machineKeys);
        EXPECT_EQ(
            subkeys(kUserKey + legacy) + "; " +
                (registry.hasKey(View::Bits64, kUserKey + _T("\\Norv Update")) ? "there" : "gone") +
                "; " + subkeys(kUserKey + _T("\\Norv2D")),
            c.userKeys);
    }
}

TEST(RegistryManager, KeepsPreferencesAlone) {
    for (const bool withPreferences : {true, false}) {
        for (const char* listed : {"-", "r32:17", "r64:17"}) {
            SCOPED_TRACE(listed);
            Family pc;
            auto& registry = pc.machine.registry;
            for (const View view : {View::Bits64, View::Bits32}) {
                registry.setString(view, kVendor + _T("\\Tool\\Deep"), _T("a"), _T("b"));
                registry.setString(view, kVendor, _T("value"), _T("text"));
                if (withPreferences) {
                    registry.setString(view, kVendor + _T("\\Prefs\\App"), _T("x"), _T("y"));
                }
            }
            pc.listed = products(listed);
            EXPECT_TRUE(pc.update(UpdateAction::None, "r64:17"));
            for (const View view : {View::Bits64, View::Bits32}) {
                const bool cleaned = listed[0] == '-' || (listed[1] == '3' && view == View::Bits64);
                EXPECT_EQ(registry.hasKey(view, kVendor), withPreferences || !cleaned);
                EXPECT_EQ(registry.hasKey(view, kVendor + _T("\\Tool\\Deep")), !cleaned);
                EXPECT_EQ(pc.value(kVendor, _T("value"), view), cleaned ? "(none)" : "text");
                EXPECT_EQ(pc.value(kVendor + _T("\\Prefs\\App"), _T("x"), view),
                          withPreferences ? "y" : "(none)");
            }
        }
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
    for (const auto& c : cases) {
        Family pc;
        pc.machine.registry.setString(View::Bits32, kVendor + _T("\\QVR"), _T("CurrentVersion"),
                                      _T("11"));
        UpdateContext context;
        context.qvr32 = c.qvr32;
        context.selection[0] = c.current;
        try {
            RegistryManager().handle(context, pc.config, nullptr);
            ADD_FAILURE() << c.text;
        } catch (const std::invalid_argument& e) {
            EXPECT_NE(std::string(e.what()).find(c.text), std::string::npos) << e.what();
        }
        EXPECT_EQ(pc.familyKeys(View::Bits32), "QVR{}=11");
    }

    // What can't be enumerated stays, "CurrentVersion" too; what can't be copied is logged only.
    Family pc;
    pc.run("+r64:1.8.0_45");
    pc.put("r64:1.9.0_10");
    RegistryManager manager;
    pc.machine.calls.failCall("RegEnumKeyExW", 1, ERROR_ACCESS_DENIED);
    EXPECT_THROW(pc.handle(manager), SysError);
    EXPECT_EQ(pc.familyKeys(View::Bits64), "Norv Runtime Environment{1.8,1.8.0_45,1.9.0_10}=1.8");
    pc.machine.calls.failAll("RegQueryValueExW", ERROR_ACCESS_DENIED);
    pc.handle(manager);
    EXPECT_EQ(pc.familyKeys(View::Bits64),
              "Norv Runtime Environment{1.8,1.8.0_45,1.9,1.9.0_10}=1.9");
}

TEST(RegistryManager, AssociatesFilesWithTheLatestProduct) {
    const struct {
        const char* listed;
        const char* without;  // the product that has no tool for .zpm
        const char* vkr;
        const char* zpm;
    } cases[] = {
        {"r64:17 k64:17 r32:17", "", "r64-17", "k64-17"},
        {"r32:17 k64:17", "", "r32-17", "k64-17"},
        {"r64:17 k32:21 k64:21", "", "k64-21", "k64-21"},
        {"r64:17 k32:21 k64:11", "k32-21", "k32-21", ""},
        {"r64:1.8.0_45 r32:9", "", "r32-9", ""},
        {"-", "", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Family pc;
        auto& registry = pc.machine.registry;
        for (const TCHAR* key : {_T("vkrfile"), _T(".vkr"), _T("zpmfile"), _T(".zpm")}) {
            registry.setString(View::Bits64, kClasses + key, _T("user's"), _T("own"));
        }
        registry.setString(View::Bits64, kClasses + _T("Applications\\norv.exe"), _T("IsHostApp"),
                           _T("x"));
        registry.setString(View::Bits64, kClasses + _T("vkrfile\\shell\\edit\\command"), _T(""),
                           _T("notepad"));
        for (const InstalledNorv& one : products(c.listed)) {
            pc.put(name(one));
        }
        if (*c.without != '\0') {
            pc.machine.volumes.remove(_T("C:\\Norv\\") + fromUtf8(c.without) +
                                      _T("\\bin\\wmq.exe"));
        }
        EXPECT_TRUE(pc.update(UpdateAction::None, "r64:17"));

        const struct {
            const TCHAR* extension;
            const TCHAR* identifier;
            std::string home;
            std::string command;
            std::string description;
        } types[] = {
            {_T(".vkr"), _T("vkrfile"), c.vkr, "norvw.exe\" -vkr \"%1\" %*", "Executable Vkr File"},
            {_T(".zpm"), _T("zpmfile"), c.zpm, "wmq.exe\" -open \"%1\" %*", "Norv Zepmark File"},
        };
        for (const auto& type : types) {
            const tstring identifier = kClasses + type.identifier;
            if (type.home.empty()) {
                EXPECT_FALSE(registry.hasKey(View::Bits64, identifier));
                EXPECT_FALSE(registry.hasKey(View::Bits64, kClasses + type.extension));
                continue;
            }
            EXPECT_EQ(pc.value(identifier, _T("")), type.description);
            EXPECT_EQ(pc.value(identifier + _T("\\shell\\open\\command"), _T("")),
                      "\"C:\\Norv\\" + type.home + "\\bin\\" + type.command);
            EXPECT_EQ(pc.value(kClasses + type.extension, _T("")), toUtf8(type.identifier));
            EXPECT_EQ(pc.value(identifier, _T("user's")), "own");
        }
        EXPECT_EQ(pc.value(kClasses + _T("vkrfile\\shell\\edit\\command"), _T("")),
                  *c.vkr == '\0' ? "(none)" : "notepad");
        for (const TCHAR* executable : {_T("norv.exe"), _T("norvw.exe")}) {
            const auto host = registry.getValue(
                View::Bits64, kClasses + _T("Applications\\") + executable, _T("IsHostApp"));
            ASSERT_EQ(host.has_value(), *c.vkr != '\0');
            EXPECT_TRUE(!host || (host->type == REG_SZ && host->data.size() == 2));
        }
        EXPECT_TRUE(logMessages(pc.machine, "ERROR").empty());
    }
}

}  // namespace
