#include <functional>

#include "unit/managers/Family.h"

using namespace family;

namespace {

TEST(UpdatePlan, WorksOutTheProductsAsTheyWillBe) {
    constexpr auto kNone = UpdateAction::None;
    constexpr auto kInstall = UpdateAction::Install;
    constexpr auto kRemove = UpdateAction::Remove;
    const struct {
        const char* detected;
        UpdateAction action;
        const char* product;
        const char* all;
        const char* selection;
        bool latestChanged;
    } cases[] = {
        {"k64:11 r64:17 g64:2.2.0 k32:17 r32:1.8.0_45 r64:21 k64:9", kNone, "r64:99",
         "r32:1.8.0_45 r64:17 r64:21 k32:17 k64:11 k64:9", "r32:1.8.0_45 r64:21 k32:17 k64:11",
         false},
        {"r64:17 r64:21", kInstall, "r64:21", "r64:17 r64:21", "- r64:21 - -", true},
        {"r64:17", kInstall, "r64:21", "r64:17 r64:21", "- r64:21 - -", true},
        {"r64:17", kInstall, "r64:1.8.0_45", "r64:17 r64:1.8.0_45", "- r64:17 - -", false},
        {"-", kInstall, "r32:17", "r32:17", "r32:17 - - -", true},
        {"r64:17", kInstall, "k64:21", "r64:17 k64:21", "- r64:17 - k64:21", false},
        {"g64:2.2.0", kInstall, "g64:2.2.0", "", "- - - -", false},
        // Of equal versions the 64-bit one leads.
        {"r32:17", kInstall, "r64:17", "r32:17 r64:17", "r32:17 r64:17 - -", true},
        {"r64:17", kInstall, "r32:17", "r32:17 r64:17", "r32:17 r64:17 - -", false},
        {"r64:17 r64:21", kRemove, "r64:21", "r64:17", "- r64:17 - -", true},
        {"r64:17", kRemove, "r64:21", "r64:17", "- r64:17 - -", true},
        {"r64:17 r64:21", kRemove, "r64:17", "r64:21", "- r64:21 - -", false},
        {"r64:17", kRemove, "r64:17", "", "- - - -", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.detected) + " / " + c.product);
        const UpdatePlan plan(products(c.detected), product(c.product), c.action);
        const UpdateContext& context = plan.context();
        EXPECT_EQ(names(context.all), c.all);
        std::vector<InstalledNorv> classes;
        for (const auto& range : {context.qvr32, context.qvr64, context.qvk32, context.qvk64}) {
            classes.insert(classes.end(), range.begin(), range.end());
        }
        EXPECT_EQ(names(classes), c.all);
        std::string selection;
        for (const InstalledNorv* one : context.selection) {
            selection += (selection.empty() ? "" : " ") + name(one);
        }
        EXPECT_EQ(selection, c.selection);
        EXPECT_EQ(context.latestChanged, c.latestChanged);
        EXPECT_EQ(context.action, c.action);
    }
}

TEST(NorvSetupManager, RefusesAListThatCanNotBeRight) {
    Family pc("r64:17");
    const auto before = pc.machine.describe();
    const NorvSetupManager fresh;
    EXPECT_EQ(name(&fresh.product), "r64:");
    EXPECT_EQ(fresh.action, UpdateAction::None);

    pc.listed.push_back(pc.listed[0]);
    EXPECT_FALSE(pc.update(UpdateAction::Install, "r64:17"));
    pc.listed.pop_back();
    pc.listed[0].productCode = Guid();
    EXPECT_FALSE(pc.update(UpdateAction::None, "r64:17"));
    ASSERT_EQ(pc.errors().size(), 2u);
    EXPECT_NE(pc.errors()[0].find("duplicated product codes"), std::string::npos);
    EXPECT_NE(pc.errors()[1].find("empty product code"), std::string::npos);
    EXPECT_EQ(logRecords(pc.machine).back().function, "NorvSetupManager::update");
    EXPECT_EQ(pc.machine.describe(), before) << "a manager has run";
}

TEST(NorvSetupManager, AManagerThatFailsStopsNoOther) {
    const auto deny = [](const tstring& key) {
        return [key](simulated::Machine& machine) {
            machine.registry.createKey(View::Bits64, key);
            machine.registry.denyWrite(View::Bits64, key);
        };
    };
    const std::string handling = "`anonymous-namespace'::handleProduct::operator ();";
    const std::string notifying = "`anonymous-namespace'::handleNoProduct::operator ();";
    const struct {
        std::function<void(simulated::Machine&)> breakIt;
        bool registry, menu, link, path;  // what gets done
        std::string catchPoints;
    } cases[] = {
        {[](simulated::Machine&) {}, true, true, true, true, ""},
        {deny(kVendor + _T("\\QVR")), false, true, true, true, handling},
        // Without a QVK the shortcuts are told so, and fail in that too.
        {[](simulated::Machine& machine) { machine.volumes.remove(kMenu); }, true, false, true,
         true, handling + notifying},
        {deny(kAts), true, true, false, true, handling},
        {deny(kEnvironment), true, true, true, false, handling},
    };
    for (const auto& c : cases) {
        Family pc("r64:17");
        c.breakIt(pc.machine);
        EXPECT_TRUE(pc.update(UpdateAction::Install, "r64:17"));
        EXPECT_EQ(pc.value(kVendor + _T("\\QVR"), _T("CurrentVersion")) == "17", c.registry);
        EXPECT_EQ(pc.files(kMenu + _T("\\Norv")).empty(), !c.menu);
        EXPECT_EQ(pc.tree(kAts + _T("\\Dovrin_NorvAssistLink")) != "gone", c.link);
        EXPECT_EQ(pc.machine.desktop.broadcasts.size(), c.path ? 1u : 0u);
        std::string catchPoints;
        for (const LogRecord& record : logRecords(pc.machine)) {
            if (record.level == "ERROR" && record.file == "NorvSetupManager.cpp") {
                catchPoints += record.function + ";";
            }
        }
        EXPECT_EQ(catchPoints, c.catchPoints);
    }
}

}  // namespace
