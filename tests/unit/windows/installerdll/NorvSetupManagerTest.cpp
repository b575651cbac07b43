// Whole updates: a manager that fails, a list that can't be right, processes of every kind.
#include "common/share/Logger.h"
#include "support/LibraryProcess.h"
#include "unit/windows/installerdll/Family.h"
#include "windows/installerdll/RegInstallShare.h"

using namespace family;

namespace {

TEST(NorvSetupManager, RefusesAListThatCanNotBeRight) {
    Family pc("r64:17");
    const auto before = pc.machine.describe();
    pc.listed.push_back(pc.listed[0]);
    EXPECT_FALSE(pc.update(UpdateAction::Remove, "r64:17"));
    NorvSetupManager nameless;
    nameless.action = UpdateAction::Install;
    EXPECT_FALSE(nameless.update(pc.config, {}));
    EXPECT_TRUE(logMentions(pc.machine, "duplicated product codes"));
    EXPECT_TRUE(logMentions(pc.machine, "empty product code"));
    EXPECT_EQ(pc.catchPoints(), "NorvSetupManager::update NorvSetupManager::update ");
    EXPECT_EQ(pc.machine.describe(), before) << "a manager has run";
}

/// An appender that can't take an error.
struct FullAppender : LogAppender {
    void append(const LogEvent& event) override {
        if (event.levelName == u"ERROR") {
            throw std::runtime_error("no room for a record");
        }
    }
};

const std::string kHere = "`anonymous-namespace'::";
const std::string kHandling = kHere + "handleProduct::operator () ";

/// What is denied, which managers' work is done all the same, and what logs an error.
struct Denial {
    const char* name;
    tstring denied = {};
    bool registry = true, associations = true, menu = true, link = true, path = true;
    std::string catchPoints = {};
    const char* listed = "r64:17";
    bool isLogFull = false;
};

const Denial kDenials[] = {
    {.name = "nothing"},
    {.name = "the vendor's key",
     .denied = kVendor,
     .registry = false,
     .associations = false,
     .catchPoints = kHere + "removeTrailingSlashFromNorvHomeKey " + kHandling},
    {.name = "the vendor's key, with a log that takes no error",
     .denied = kVendor,
     .registry = false,
     .associations = false,
     .isLogFull = true},
    {.name = "the vendor's key, which a 32-bit product needs in the other view",
     .denied = kVendor,
     .registry = false,
     .catchPoints = kHere + "cleanArchKeys ",
     .listed = "r32:17"},
    {.name = "a user's keys",
     .denied = u"HKCU\\User",
     .catchPoints = kHere + "cleanUpForAllUsers " + kHere + "cleanUpForAllUsers "},
    {.name = "the host process",
     .denied = kClasses + u"\\Applications\\norv.exe",
     .catchPoints = kHere + "registerHostProcess "},
    {.name = "the class of .vkr files",
     .denied = kClasses + u"\\vkrfile",
     .associations = false,
     .catchPoints = kHere + "updateVkrFileAssociation "},
    {.name = "the class of .zpm files",
     .denied = kClasses + u"\\zpmfile",
     .catchPoints = kHere + "updateZpmFileAssociation "},
    {.name = "the Start menu, also for the kit that isn't there",
     .denied = kMenu,
     .menu = false,
     .catchPoints = kHandling + kHere + "handleNoProduct::operator () "},
    {.name = "the assistive technologies", .denied = kAts, .link = false, .catchPoints = kHandling},
    {.name = "the environment", .denied = kEnvironment, .path = false, .catchPoints = kHandling},
};

void deny(Family& pc, const tstring& denied) {
    if (denied == kMenu) {
        pc.machine.volumes.remove(kMenu);
    } else if (!denied.empty()) {
        pc.machine.registry.createKey(View::Bits64, denied);
        pc.machine.registry.denyWrite(View::Bits64, denied);
    }
}

TEST(NorvSetupManager, GoesOnPastAManagerThatFails) {
    for (const Denial& c : kDenials) {
        SCOPED_TRACE(c.name);
        Family pc(c.listed);
        auto& volumes = pc.machine.volumes;
        const tstring home = pc.listed[0].homeDir;
        const std::string installed = pc.files(home);
        for (const TCHAR* leftover : {u"\\core.zip", u"\\patchqvr.exe", u"\\tools.zip"}) {
            volumes.addFile(home + leftover);
            volumes.setReadOnly(home + leftover);
        }
        std::vector<int> posts;
        pc.machine.sharedMemory.observeFlushes([&](const std::string& name, const auto& bytes) {
            EXPECT_EQ(name, "PmtOperationSequenceSharedMemory");
            posts.insert(posts.end(), {bytes.at(0), bytes.at(4)});
        });
        deny(pc, c.denied);
        FullAppender full;
        LogAppender* const file = Logger::instance().appender();
        Logger::instance().setAppender(c.isLogFull ? &full : file);
        EXPECT_TRUE(InstallNorv(pc.listed, pc.listed[0], pc.config));
        Logger::instance().setAppender(file);

        EXPECT_EQ(pc.value(kVendor + u"\\QVR", u"CurrentVersion") == "17", c.registry);
        EXPECT_EQ(pc.value(kClasses + u"\\.vkr", u"") == "vkrfile", c.associations);
        EXPECT_EQ(pc.files(kMenu + u"\\Norv") != "", c.menu);
        EXPECT_EQ(pc.tree(kAts + u"\\Dovrin_NorvAssistLink") != "gone", c.link);
        EXPECT_EQ(pc.machine.desktop.broadcasts.size(), c.path ? 1u : 0u);
        EXPECT_EQ(pc.catchPoints(), c.catchPoints);
        EXPECT_EQ(pc.files(home), installed);
        EXPECT_EQ(posts, (std::vector{6, 1, 6, 2}));
        EXPECT_EQ(logHas(pc.machine, "InstallNorv(17)"), !c.isLogFull);
    }
}

TEST(NorvSetupManager, ServesEveryKindOfProcess) {
    // 64-bit system, 64-bit process, where the shims stand, and the 32-bit library.
    const std::tuple<bool, bool, tstring, tstring> cases[] = {
        {true, true, u"C:\\Program Files", u"SysWOW64\\WindowsAssistLink-32.dll"},
        {true, false, u"C:\\Program Files (x86)", u"SysWOW64\\WindowsAssistLink-32.dll"},
        {false, false, u"C:\\Program Files", u"System32\\WindowsAssistLink.dll"},
    };
    for (const auto& [is64BitSystem, is64BitProcess, common, library32] : cases) {
        SCOPED_TRACE(toUtf8(common + library32));
        Family pc(
            is64BitSystem ? "r32:1.8.0_60 k32:11.0.2 k64:21.0.12.1+1" : "r32:1.8.0_60 k32:11.0.2",
            is64BitSystem);
        simulated::Machine& machine = pc.machine;
        machine.facts.is64BitProcess = is64BitProcess;
        const tstring norv = common + u"\\Common Files\\Dovrin\\Norv\\";
        machine.volumes.addFile(norv + u"norvtmp\\norv.exe", "shim");
        LibraryProcess process(machine);
        const tstring data = u"ProductCode=" + pc.listed[1].productCode.toString();
        EXPECT_EQ(process.call("SetLatestQvr", machine.installer.openDeferredSession(data)), 0u);
        const std::string keys32 =
            "{Norv Runtime Environment[CurrentVersion=1.8]{1.8 1.8.0_60} "
            "QVK[CurrentVersion=11.0.2]{11.0.2}}";
        EXPECT_EQ(pc.tree(kVendor, View::Bits32), keys32);
        EXPECT_EQ(pc.tree(kVendor),
                  is64BitSystem ? "{QVK[CurrentVersion=21.0.12.1]{21.0.12.1}}" : keys32);
        EXPECT_EQ(machine.volumes.content(u"C:\\Windows\\" + library32), "of 11.0.2");
        EXPECT_EQ(machine.volumes.exists(u"C:\\Windows\\System32\\WindowsAssistLink-64.dll"),
                  is64BitSystem);
        EXPECT_EQ(machine.volumes.exists(norv + u"norvpath\\zemble.exe"), is64BitSystem);
        EXPECT_EQ(pc.value(kEnvironment, u"Path"),
                  (is64BitSystem ? toUtf8(norv) + "norvpath;" : "") + "C:\\Windows");
    }
}

}  // namespace
