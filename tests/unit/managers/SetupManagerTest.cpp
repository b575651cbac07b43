#include <functional>

#include "support/LogReader.h"
#include "unit/managers/Family.h"

using namespace family;

namespace {

std::string selectionNames(const InstalledNorvSelection& selection) {
    std::string result;
    for (const InstalledNorv* one : selection) {
        result += (result.empty() ? "" : " ") + name(one);
    }
    return result;
}

TEST(UpdatePlan, WorksOutTheProductsAsTheyWillBe) {
    const struct {
        const char* detected;
        UpdateAction action;
        const char* product;
        const char* all;
        const char* selection;
        bool latestChanged;
    } cases[] = {
        {"k64:11 r64:17 g64:2.2.0 k32:17 r32:1.8.0_45 r64:21 k64:9", UpdateAction::None, "r64:99",
         "r32:1.8.0_45 r64:17 r64:21 k32:17 k64:11 k64:9", "r32:1.8.0_45 r64:21 k32:17 k64:11",
         false},
        {"r64:17 r64:21", UpdateAction::Install, "r64:21", "r64:17 r64:21", "- r64:21 - -", true},
        {"r64:17", UpdateAction::Install, "r64:21", "r64:17 r64:21", "- r64:21 - -", true},
        {"r64:17", UpdateAction::Install, "r64:1.8.0_45", "r64:17 r64:1.8.0_45", "- r64:17 - -",
         false},
        {"-", UpdateAction::Install, "r32:17", "r32:17", "r32:17 - - -", true},
        {"r64:17", UpdateAction::Install, "k64:21", "r64:17 k64:21", "- r64:17 - k64:21", false},
        {"g64:2.2.0", UpdateAction::Install, "g64:2.2.0", "-", "- - - -", false},
        // Of equal versions the 64-bit one leads.
        {"r32:17", UpdateAction::Install, "r64:17", "r32:17 r64:17", "r32:17 r64:17 - -", true},
        {"r64:17", UpdateAction::Install, "r32:17", "r32:17 r64:17", "r32:17 r64:17 - -", false},
        {"r64:17 r64:21", UpdateAction::Remove, "r64:21", "r64:17", "- r64:17 - -", true},
        {"r64:17", UpdateAction::Remove, "r64:21", "r64:17", "- r64:17 - -", true},
        {"r64:17 r64:21", UpdateAction::Remove, "r64:17", "r64:21", "- r64:21 - -", false},
        {"r64:17", UpdateAction::Remove, "r64:17", "-", "- - - -", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.detected) + " / " + c.product);
        const UpdatePlan plan(products(c.detected), product(c.product), c.action);
        const UpdateContext& context = plan.context();
        EXPECT_EQ(names(context.all), c.all);
        std::string classes;
        for (const auto& range : {context.qvr32, context.qvr64, context.qvk32, context.qvk64}) {
            for (const InstalledNorv& one : range) {
                classes += (classes.empty() ? "" : " ") + name(one);
            }
        }
        EXPECT_EQ(classes.empty() ? "-" : classes, c.all);
        EXPECT_EQ(selectionNames(context.selection), c.selection);
        EXPECT_EQ(context.latestChanged, c.latestChanged);
        EXPECT_EQ(context.action, c.action);
    }
}

TEST(NorvSetupManager, RefusesAListThatCanNotBeRight) {
    Family pc;
    pc.put("r64:17");
    simulated::Machine& machine = pc.machine;
    const auto before = machine.describe();
    const NorvSetupManager fresh;
    EXPECT_EQ(name(fresh.product), "r64:");
    EXPECT_EQ(fresh.action, UpdateAction::None);

    pc.listed.push_back(pc.listed[0]);
    EXPECT_FALSE(pc.update(UpdateAction::Install, "r64:17"));
    pc.listed.pop_back();
    pc.listed[0].productCode = Guid();
    EXPECT_FALSE(pc.update(UpdateAction::None, "r64:17"));

    const auto errors = logMessages(machine, "ERROR");
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_NE(errors[0].find("duplicated product codes"), std::string::npos);
    EXPECT_NE(errors[1].find("empty product code"), std::string::npos);
    EXPECT_EQ(logRecords(machine).back().function, "NorvSetupManager::update");
    EXPECT_EQ(machine.describe(), before) << "a manager has run";
}

TEST(NorvSetupManager, AManagerThatFailsStopsNoOther) {
    const tstring kFamily = kVendor + _T("\\QVR");
    const tstring kAts =
        _T("HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Accessibility\\ATs");
    const tstring kEnvironment =
        _T("HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment");
    const auto deny = [](const tstring& key) {
        return [key](simulated::Machine& machine) {
            machine.registry.createKey(View::Bits64, key);
            machine.registry.denyWrite(View::Bits64, key);
        };
    };
    const struct {
        const char* who;
        std::function<void(simulated::Machine&)> breakIt;
        bool registry, menu, link, path;  // what gets done
    } cases[] = {
        {"none", [](simulated::Machine&) {}, true, true, true, true},
        {"RegistryManager", deny(kFamily), false, true, true, true},
        {"NorvShortcutsManager", [](simulated::Machine& machine) { machine.volumes.remove(kMenu); },
         true, false, true, true},
        {"AssistLinkManager", deny(kAts), true, true, false, true},
        {"NorvPathManager", deny(kEnvironment), true, true, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.who);
        Family pc;
        simulated::Machine& machine = pc.machine;
        pc.put("r64:17");
        c.breakIt(machine);
        EXPECT_TRUE(pc.update(UpdateAction::Install, "r64:17"));
        EXPECT_EQ(pc.value(kFamily, _T("CurrentVersion")) == "17", c.registry);
        EXPECT_EQ(pc.files(kMenu + _T("\\Norv")).empty(), !c.menu);
        EXPECT_EQ(machine.registry.hasKey(View::Bits64, kAts + _T("\\Dovrin_NorvAssistLink")),
                  c.link);
        EXPECT_EQ(machine.desktop.broadcasts.size(), c.path ? 1u : 0u);

        std::string catchPoints;
        for (const LogRecord& record : logRecords(machine)) {
            if (record.level == "ERROR" && record.file == "NorvSetupManager.cpp") {
                catchPoints += record.function + ";";
            }
        }
        // Without a QVK, the shortcuts are told so, and fail in that too.
        const std::string handled = "`anonymous-namespace'::handleProduct::operator ();";
        const std::string notified = "`anonymous-namespace'::handleNoProduct::operator ();";
        EXPECT_EQ(catchPoints, c.who == std::string("none") ? ""
                               : c.menu                     ? handled
                                                            : handled + notified);
    }
}

}  // namespace
