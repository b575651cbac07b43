#include "common/share/Logger.h"
#include "unit/managers/Family.h"
#include "windows/installerdll/RegInstallShare.h"

using namespace family;

namespace {

constexpr auto kNone = UpdateAction::None;
constexpr auto kInstall = UpdateAction::Install;
constexpr auto kRemove = UpdateAction::Remove;

TEST(UpdatePlan, WorksOutTheProductsAsTheyWillBe) {
    const struct {
        const char* detected;
        UpdateAction action;
        const char* product;
        const char* plan;  // all products / the selection
        bool latestChanged;
    } cases[] = {
        {"k64:11 r64:17 g64:2.2.0 k32:17 r32:1.8.0_45 r64:21 k64:9", kNone, "r64:99",
         "r32:1.8.0_45 r64:17 r64:21 k32:17 k64:11 k64:9 / r32:1.8.0_45 r64:21 k32:17 k64:11",
         false},
        {"r64:17 r64:21", kInstall, "r64:21", "r64:17 r64:21 / - r64:21 - -", true},
        {"r64:17", kInstall, "r64:1.8.0_45", "r64:17 r64:1.8.0_45 / - r64:17 - -", false},
        // Of equal versions the 64-bit one leads.
        {"r32:17", kInstall, "r64:17", "r32:17 r64:17 / r32:17 r64:17 - -", true},
        {"r64:17", kInstall, "r32:17", "r32:17 r64:17 / r32:17 r64:17 - -", false},
        {"r64:17 r64:21", kRemove, "r64:17", "r64:21 / - r64:21 - -", false},
        {"r64:17", kRemove, "r64:17", "/ - - - -", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.detected) + " / " + c.product);
        const UpdatePlan plan(products(c.detected), product(c.product), c.action);
        const UpdateContext& context = plan.context();
        std::string text;
        for (const auto& range : {context.qvr32, context.qvr64, context.qvk32, context.qvk64}) {
            for (const InstalledNorv& one : range) {
                text += name(&one) + " ";
            }
        }
        text += "/";
        for (const InstalledNorv* one : context.selection) {
            text += " " + name(one);
        }
        EXPECT_EQ(text, c.plan);
        EXPECT_EQ(context.latestChanged, c.latestChanged);
    }
}

TEST(NorvSetupManager, RefusesAListThatCanNotBeRight) {
    Family pc("r64:17");
    const auto before = pc.machine.describe();
    pc.listed.push_back(pc.listed[0]);
    EXPECT_FALSE(pc.update(kInstall, "r64:17"));
    pc.listed.pop_back();
    pc.listed[0].productCode = Guid();
    EXPECT_FALSE(pc.update(kNone, "r64:17"));
    EXPECT_TRUE(logMentions(pc.machine, "duplicated product codes"));
    EXPECT_TRUE(logMentions(pc.machine, "empty product code"));
    EXPECT_EQ(pc.catchPoints(), "NorvSetupManager::update NorvSetupManager::update ");
    EXPECT_EQ(pc.machine.describe(), before) << "a manager has run";
}

/// An appender that can't take an error.
struct FullAppender : LogAppender {
    void append(const LogEvent& event) override {
        if (event.levelName == _T("ERROR")) {
            throw std::runtime_error("no room for a record");
        }
    }
};

TEST(InstallNorv, AManagerThatFailsStopsNoOther) {
    const std::string handling = "`anonymous-namespace'::handleProduct::operator () ";
    const std::string homeOfKey = "`anonymous-namespace'::removeTrailingSlashFromNorvHomeKey ";
    const struct {
        tstring denied;
        std::string done;  // registry, menu, link, path
        std::string catchPoints;
        bool isLogFull = false;
    } cases[] = {
        {_T(""), "1111", ""},
        {kVendor, "0111", homeOfKey + handling},
        {kVendor, "0111", "", true},
        // Without a QVK the shortcuts are told so, and fail in that too.
        {kMenu, "1011", handling + "`anonymous-namespace'::handleNoProduct::operator () "},
        {kAts, "1101", handling},
        {kEnvironment, "1110", handling},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(toUtf8(c.denied));
        Family pc("r64:17");
        const tstring home = pc.listed[0].homeDir;
        for (const TCHAR* name : {_T("\\core.zip"), _T("\\patchqvr.exe"), _T("\\tools.zip")}) {
            pc.machine.volumes.addFile(home + name);
        }
        pc.machine.volumes.setReadOnly(home + _T("\\core.zip"));
        std::vector<int> posts;
        pc.machine.sharedMemory.observeFlushes([&](const std::string& name, const auto& bytes) {
            EXPECT_EQ(name, "PmtOperationSequenceSharedMemory");
            posts.insert(posts.end(), {bytes.at(0), bytes.at(4)});
        });
        if (c.denied == kMenu) {
            pc.machine.volumes.remove(kMenu);
        } else if (!c.denied.empty()) {
            pc.machine.registry.denyWrite(View::Bits64, c.denied);
        }
        FullAppender full;
        LogAppender* const file = Logger::instance().appender();
        Logger::instance().setAppender(c.isLogFull ? &full : file);
        EXPECT_TRUE(InstallNorv(pc.listed, product("r64:17"), pc.config));
        Logger::instance().setAppender(file);

        std::string done;
        for (const bool step : {pc.value(kVendor + _T("\\QVR"), _T("CurrentVersion")) == "17",
                                !pc.files(kMenu + _T("\\Norv")).empty(),
                                pc.tree(kAts + _T("\\Dovrin_NorvAssistLink")) != "gone",
                                pc.machine.desktop.broadcasts.size() == 1}) {
            done += step ? "1" : "0";
        }
        EXPECT_EQ(done, c.done);
        EXPECT_EQ(pc.catchPoints(), c.catchPoints);
        EXPECT_EQ(pc.files(home), "");
        EXPECT_EQ(posts, (std::vector{6, 1, 6, 2}));
        EXPECT_TRUE(c.isLogFull || logHas(pc.machine, "InstallNorv(17)"));
    }
}

}  // namespace
