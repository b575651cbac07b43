// Whole updates: a manager that fails, a list that can't be right, processes of every kind.
#include "common/share/Logger.h"
#include "support/LibraryProcess.h"
#include "unit/windows/installerdll/Family.h"
#include "windows/installerdll/RegInstallShare.h"

using namespace family;

namespace {

TEST(Update, RefusesAListThatCanNotBeRight) {
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

TEST(Update, GoesOnPastAManagerThatFails) {
    const std::string here = "`anonymous-namespace'::";
    const std::string handling = here + "handleProduct::operator () ";
    const struct {
        tstring denied;
        std::string done;  // registry, files, menu, link, path
        std::string catchPoints;
        const char* listed = "r64:17";
        bool isLogFull = false;
    } cases[] = {
        {u"", "11111", ""},
        {kVendor, "00111", here + "removeTrailingSlashFromNorvHomeKey " + handling},
        {kVendor, "00111", "", "r64:17", true},
        {kVendor, "01111", here + "cleanArchKeys ", "r32:17"},
        {u"HKCU\\User", "11111", here + "cleanUpForAllUsers " + here + "cleanUpForAllUsers "},
        {kClasses + u"\\Applications\\norv.exe", "11111", here + "registerHostProcess "},
        {kClasses + u"\\vkrfile", "10111", here + "updateVkrFileAssociation "},
        {kClasses + u"\\zpmfile", "11111", here + "updateZpmFileAssociation "},
        // Without a QVK the shortcuts are told so, and fail in that too.
        {kMenu, "11011", handling + here + "handleNoProduct::operator () "},
        {kAts, "11101", handling},
        {kEnvironment, "11110", handling},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(toUtf8(c.denied) + c.listed);
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
        if (c.denied == kMenu) {
            volumes.remove(kMenu);
        } else if (!c.denied.empty()) {
            pc.machine.registry.createKey(View::Bits64, c.denied);
            pc.machine.registry.denyWrite(View::Bits64, c.denied);
        }
        FullAppender full;
        LogAppender* const file = Logger::instance().appender();
        Logger::instance().setAppender(c.isLogFull ? &full : file);
        EXPECT_TRUE(InstallNorv(pc.listed, pc.listed[0], pc.config));
        Logger::instance().setAppender(file);

        std::string done;
        for (const bool step : {pc.value(kVendor + u"\\QVR", u"CurrentVersion") == "17",
                                pc.value(kClasses + u"\\.vkr", u"") == "vkrfile",
                                !pc.files(kMenu + u"\\Norv").empty(),
                                pc.tree(kAts + u"\\Dovrin_NorvAssistLink") != "gone",
                                pc.machine.desktop.broadcasts.size() == 1}) {
            done += step ? "1" : "0";
        }
        EXPECT_EQ(done, c.done);
        EXPECT_EQ(pc.catchPoints(), c.catchPoints);
        EXPECT_EQ(pc.files(home), installed);
        EXPECT_EQ(posts, (std::vector{6, 1, 6, 2}));
        EXPECT_TRUE(c.isLogFull || logHas(pc.machine, "InstallNorv(17)"));
    }
}

TEST(Update, ServesEveryKindOfProcess) {
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
