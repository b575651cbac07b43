// Whole updates: a manager that fails, a list that can't be right, processes of every kind.
#include "windows/installerdll/NorvSetupManager.h"

#include "common/share/Logger.h"
#include "support/LibraryProcess.h"
#include "unit/windows/installerdll/Family.h"
#include "windows/installerdll/RegInstallShare.h"

using namespace family;

namespace {

TEST(NorvSetupManager, RefusesAListWithAProductTwice) {
    Family pc({qvr("17")});
    pc.listed.push_back(pc.listed[0]);
    const auto before = pc.machine.describe();
    EXPECT_FALSE(pc.update(UpdateAction::Remove, qvr("17")));
    EXPECT_TRUE(logMentions(pc.machine, "duplicated product codes"));
    EXPECT_EQ(pc.failedFunctions(), Strings{"NorvSetupManager::update"});
    EXPECT_EQ(pc.machine.describe(), before) << "a manager has run";
}

TEST(NorvSetupManager, RefusesAProductWithoutACode) {
    Family pc({});
    NorvSetupManager manager;
    manager.action = UpdateAction::Install;
    EXPECT_FALSE(manager.update(pc.config, {}));
    EXPECT_TRUE(logMentions(pc.machine, "empty product code"));
}

/// What is denied, which managers' work is done all the same, and which functions log an error.
struct Denial {
    const char* name;
    tstring denied;
    std::vector<Product> installed = {qvr("17")};
    bool registry = true, associations = true, menu = true, link = true, path = true;
    Strings failedFunctions;
};

const Denial kDenials[] = {
    {.name = "the vendor's key",
     .denied = kVendor,
     .registry = false,
     .associations = false,
     .failedFunctions = {"`anonymous-namespace'::removeTrailingSlashFromNorvHomeKey",
                         "`anonymous-namespace'::handleProduct::operator ()"}},
    {.name = "the vendor's key, which a 32-bit product needs in the other view",
     .denied = kVendor,
     .installed = {qvr("17", 32)},
     .failedFunctions = {"`anonymous-namespace'::cleanArchKeys"}},
    {.name = "a user's keys, in both views",
     .denied = u"HKCU\\User",
     .failedFunctions = {"`anonymous-namespace'::cleanUpForAllUsers",
                         "`anonymous-namespace'::cleanUpForAllUsers"}},
    {.name = "the host process",
     .denied = kClasses + u"\\Applications\\norv.exe",
     .failedFunctions = {"`anonymous-namespace'::registerHostProcess"}},
    {.name = "the class of .vkr files",
     .denied = kClasses + u"\\vkrfile",
     .associations = false,
     .failedFunctions = {"`anonymous-namespace'::updateVkrFileAssociation"}},
    {.name = "the class of .zpm files",
     .denied = kClasses + u"\\zpmfile",
     .failedFunctions = {"`anonymous-namespace'::updateZpmFileAssociation"}},
    {.name = "the assistive technologies",
     .denied = kAts,
     .link = false,
     .failedFunctions = {"`anonymous-namespace'::handleProduct::operator ()"}},
    {.name = "the environment",
     .denied = kEnvironment,
     .path = false,
     .failedFunctions = {"`anonymous-namespace'::handleProduct::operator ()"}},
};

void expectWork(const Family& pc, const Denial& c) {
    const auto& registry = pc.machine.registry;
    const View view = c.installed[0].view();
    EXPECT_EQ(registry.getString(view, kVendor + u"\\QVR", u"CurrentVersion").has_value(),
              c.registry);
    EXPECT_EQ(registry.hasKey(View::Bits64, kClasses + u"\\.vkr"), c.associations);
    EXPECT_EQ(pc.machine.volumes.exists(kMenu + u"\\Norv"), c.menu);
    EXPECT_EQ(registry.hasKey(View::Bits64, kAts + u"\\Dovrin_NorvAssistLink"), c.link);
    EXPECT_EQ(pc.machine.desktop.broadcasts.size(), c.path ? 1u : 0u);
}

TEST(NorvSetupManager, GoesOnPastARegistryKeyThatMayNotBeWritten) {
    for (const Denial& c : kDenials) {
        SCOPED_TRACE(c.name);
        Family pc(c.installed);
        pc.machine.registry.createKey(View::Bits64, c.denied);
        pc.machine.registry.denyWrite(View::Bits64, c.denied);
        EXPECT_TRUE(pc.update(UpdateAction::Install, c.installed[0]));
        expectWork(pc, c);
        EXPECT_EQ(pc.failedFunctions(), c.failedFunctions);
    }
}

TEST(NorvSetupManager, GoesOnWithoutAStartMenu) {
    Family pc({qvr("17")});
    pc.machine.volumes.remove(kMenu);
    EXPECT_TRUE(pc.update(UpdateAction::Install, qvr("17")));
    expectWork(pc, {.name = "", .denied = u"", .menu = false, .failedFunctions = {}});
    EXPECT_EQ(pc.failedFunctions(),
              (Strings{"`anonymous-namespace'::handleProduct::operator ()",
                       "`anonymous-namespace'::handleNoProduct::operator ()"}));
}

/// An appender that fails for each error.
struct FullAppender : LogAppender {
    void append(const LogEvent& event) override {
        if (event.levelName == u"ERROR") {
            throw std::runtime_error("the disk is full");
        }
    }
};

TEST(NorvSetupManager, GoesOnWhenAFailureCannotBeLogged) {
    Family pc({qvr("17")});
    pc.machine.volumes.remove(kMenu);
    FullAppender full;
    LogAppender* const file = Logger::instance().appender();
    Logger::instance().setAppender(&full);
    EXPECT_TRUE(pc.update(UpdateAction::Install, qvr("17")));
    Logger::instance().setAppender(file);
    expectWork(pc, {.name = "", .denied = u"", .menu = false, .failedFunctions = {}});
}

TEST(InstallNorv, DeletesTheInstallersTemporaryFiles) {
    Family pc({qvr("17")});
    const tstring home = pc.listed[0].homeDir;
    const Strings installed = pc.files(home);
    for (const TCHAR* leftover : {u"\\core.zip", u"\\patchqvr.exe", u"\\tools.zip"}) {
        pc.machine.volumes.addFile(home + leftover);
        pc.machine.volumes.setReadOnly(home + leftover);
    }
    EXPECT_TRUE(InstallNorv(pc.listed, pc.listed[0], pc.config));
    EXPECT_EQ(pc.files(home), installed);
    EXPECT_TRUE(logHas(pc.machine, "InstallNorv(17)"));
}

TEST(InstallNorv, ReportsItsProgress) {
    Family pc({qvr("17")});
    Strings posts;
    pc.machine.sharedMemory.observeFlushes([&](const std::string& name, const auto& bytes) {
        posts.push_back(name + " operation " + std::to_string(bytes.at(0)));
    });
    EXPECT_TRUE(InstallNorv(pc.listed, pc.listed[0], pc.config));
    EXPECT_EQ(posts, (Strings{"PmtOperationSequenceSharedMemory operation 6",
                              "PmtOperationSequenceSharedMemory operation 6"}))
        << "its begin and its end";
}

/// Calls the exported action for the second of the products.
void updateInProcess(Family& pc) {
    LibraryProcess process(pc.machine);
    const tstring data = u"ProductCode=" + pc.listed.at(1).productCode.toString();
    EXPECT_EQ(process.call("SetLatestQvr", pc.machine.installer.openDeferredSession(data)), 0u);
}

const Strings kKeysOf32BitProducts = {"Norv Runtime Environment", "Norv Runtime Environment\\1.8",
                                      "Norv Runtime Environment\\1.8.0_60", "QVK", "QVK\\11.0.2"};

TEST(NorvSetupManager, ReachesBothArchitecturesFromA32BitProcess) {
    Family pc({qvr("1.8.0_60", 32), qvk("11.0.2", 32), qvk("21.0.12.1+1")});
    pc.machine.facts.is64BitProcess = false;
    const tstring stray = u"C:\\Windows\\System32\\WindowsAssistLink-32.dll";
    pc.machine.volumes.addFile(stray);
    const tstring common = u"C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\";
    pc.machine.volumes.addFile(common + u"norvtmp\\norv.exe", "shim");
    updateInProcess(pc);
    EXPECT_EQ(pc.subkeys(kVendor), (Strings{"QVK", "QVK\\21.0.12.1"}));
    EXPECT_EQ(pc.subkeys(kVendor, View::Bits32), kKeysOf32BitProducts);
    EXPECT_EQ(pc.content(u"C:\\Windows\\System32\\WindowsAssistLink-64.dll"), "of 21.0.12.1+1");
    EXPECT_EQ(pc.content(u"C:\\Windows\\SysWOW64\\WindowsAssistLink-32.dll"), "of 11.0.2");
    EXPECT_EQ(pc.content(stray), kNone);
    EXPECT_EQ(pc.content(common + u"norvpath\\zemble.exe"), "shim");
    EXPECT_EQ(pc.value(kEnvironment, u"Path"), toUtf8(common) + "norvpath;C:\\Windows");
}

TEST(NorvSetupManager, ServesA32BitWindows) {
    Family pc({qvr("1.8.0_60", 32, 32), qvk("11.0.2", 32, 32)}, false);
    updateInProcess(pc);
    EXPECT_EQ(pc.subkeys(kVendor), kKeysOf32BitProducts);
    EXPECT_EQ(pc.content(u"C:\\Windows\\System32\\WindowsAssistLink.dll"), "of 11.0.2");
    EXPECT_EQ(pc.value(kEnvironment, u"Path"), "C:\\Windows");
}

}  // namespace
