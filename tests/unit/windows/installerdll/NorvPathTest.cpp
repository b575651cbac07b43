#include "windows/installerdll/NorvPath.h"

#include <map>

#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kCommonDirectory = u"C:\\Program Files\\Common Files\\Dovrin\\Norv\\";
const tstring kJunction = kCommonDirectory + u"norvpath";
const tstring kStaging = kCommonDirectory + u"norvtmp";
const tstring kOldTarget = kJunction + u"_target_7";

using Contents = std::map<std::string, std::string>;
const Contents kNewShims = {
    {"norv.exe", "new"}, {"norvc.exe", "new"}, {"norvw.exe", "new"}, {"zemble.exe", "new"}};
const Contents kOldShims = {{"norv.exe", "old"}, {"norvc.exe", "changed"}, {"norvw.exe", "old"}};
const Contents kCopiesOfOldShims = {
    {"norv.exe", "old"}, {"norvc.exe", "old"}, {"norvw.exe", "old"}, {"zemble.exe", "old"}};

/// The kit of this build's own version.
Product packagesKit() {
    return qvk("21.0.12.1+1");
}

/// A machine with shims of an older product in use, and new ones staged.
struct Shims : Family {
    explicit Shims(const std::vector<Product>& installed, const tstring& path = u"C:\\Windows")
        : Family(installed) {
        for (const TCHAR* name : {u"\\norv.exe", u"\\norvw.exe"}) {
            machine.volumes.addFile(kStaging + name, "new");
            machine.volumes.addFile(kOldTarget + name, "old");
        }
        machine.volumes.addFile(kOldTarget + u"\\norvc.exe", "changed");
        machine.volumes.addJunction(kJunction, kOldTarget);
        machine.registry.setExpandString(View::Bits64, kEnvironment, u"Path", path);
    }

    void run() { handle(NorvPathManager()); }

    std::string path() const { return value(kEnvironment, u"Path"); }

    /// What a shell finds through `Path`.
    Contents shims() const {
        const tstring target = machine.volumes.junctionTarget(kJunction).value_or(u"C:\\none");
        Contents result;
        for (const std::string& file : files(target)) {
            result[file] = content(target + u"\\" + fromUtf8(file));
        }
        return result;
    }
};

TEST(NorvPath, HasTheShimsOfTheKitsThatAreInstalled) {
    const char* const copyOld = "Norvpath: Uninstalling and there is a SHIM-AWAREQVK remaining.";
    const struct {
        const char* name;
        std::vector<Product> installed;
        Contents shims = {};
        const char* record = "Norvpath: No SHIM-AWARE QVKs remain, delete all shims.";
    } cases[] = {
        {.name = "a kit before 11.0.8", .installed = {qvk("11.0.7")}},
        {.name = "kits from 12 to 14", .installed = {qvk("12.0.1"), qvk("14.0.2")}},
        {.name = "a 32-bit kit and a runtime",
         .installed = {qvk("21.0.12.1+1", 32), qvr("21.0.12.1+1")}},
        {.name = "the first kit with shims, another than the package's",
         .installed = {qvk("11.0.8")},
         .shims = kCopiesOfOldShims,
         .record = copyOld},
        {.name = "a kit of 15",
         .installed = {qvk("15")},
         .shims = kCopiesOfOldShims,
         .record = copyOld},
        {.name = "the package's kit is the latest",
         .installed = {qvk("17"), packagesKit(), qvk("14.0.2"), qvk("11.0.8")},
         .shims = kNewShims,
         .record = "Norvpath: Installing and we are the latest SHIM-AWAREQVK, setup shims."},
        {.name = "a later build than the package's",
         .installed = {packagesKit(), qvk("21.0.12.1+2")},
         .shims = kOldShims,
         .record = "Norvpath: Installing and we are NOT the latest, don't do anything."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Shims pc(c.installed);
        pc.run();
        EXPECT_EQ(pc.shims(), c.shims);
        EXPECT_TRUE(logHas(pc.machine, c.record));
        EXPECT_EQ(pc.failedFunctions(), Strings());
    }
}

TEST(NorvPath, IsInPathOnlyWhileAKitHasShims) {
    const tstring upperCase = simulated::upperCase(kJunction);
    const tstring similar = u"a;" + kJunction + u"2;" + kJunction + u"\\";
    const struct {
        const char* name;
        std::vector<Product> installed;
        tstring before, after;
        std::size_t broadcasts = 1;
    } cases[] = {
        {.name = "added to an empty one",
         .installed = {packagesKit()},
         .before = u"",
         .after = kJunction + u";"},
        {.name = "added before directories of similar names",
         .installed = {packagesKit()},
         .before = similar,
         .after = kJunction + u";" + similar},
        {.name = "there already",
         .installed = {packagesKit()},
         .before = u"C:\\Windows;" + upperCase,
         .after = u"C:\\Windows;" + upperCase,
         .broadcasts = 0},
        {.name = "removed in either case",
         .installed = {},
         .before = kJunction + u";a;" + upperCase,
         .after = u"a"},
        {.name = "removed after empty entries", .installed = {}, .before = u";;a;", .after = u"a;"},
        {.name = "nothing to remove", .installed = {}, .before = similar, .after = similar},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Shims pc(c.installed, c.before);
        pc.run();
        EXPECT_EQ(pc.path(), toUtf8(c.after));
        EXPECT_EQ(pc.machine.registry.getValue(View::Bits64, kEnvironment, u"Path")->type,
                  DWORD{REG_EXPAND_SZ});
        EXPECT_EQ(pc.machine.desktop.broadcasts.size(), c.broadcasts);
    }
}

TEST(NorvPath, NotifiesProgramsOfTheNewPath) {
    Shims pc({packagesKit()});
    pc.machine.desktop.hangs = true;
    pc.run();
    const simulated::Broadcast sent = pc.machine.desktop.broadcasts.at(0);
    EXPECT_EQ(sent.message, UINT{WM_SETTINGCHANGE});
    EXPECT_EQ(sent.text, u"Environment");
    EXPECT_EQ(sent.flags, UINT{SMTO_ABORTIFHUNG});
    EXPECT_EQ(sent.timeout, 5000u);
    EXPECT_TRUE(logMentions(pc.machine, "SendMessageTimeout failed with system error 1460"));
}

TEST(NorvPath, DoesNotReplaceADirectoryThatIsNoJunction) {
    for (const auto& installed : {std::vector{packagesKit()}, {}}) {
        Shims pc(installed, kJunction);
        pc.machine.volumes.remove(kJunction);
        pc.machine.volumes.addFile(kJunction + u"\\mine.txt");
        pc.run();
        EXPECT_TRUE(logMentions(pc.machine, "norvpath: not a link"));
        EXPECT_EQ(pc.files(kJunction), Strings{"mine.txt"});
        EXPECT_EQ(pc.path(), installed.empty() ? "" : toUtf8(kJunction));
    }
}

TEST(NorvPath, HasTheShimsThatCouldBeCopied) {
    Shims pc({packagesKit()});
    pc.machine.volumes.remove(kStaging + u"\\norvw.exe");
    pc.run();
    EXPECT_EQ(pc.shims(),
              (Contents{{"norv.exe", "new"}, {"norvc.exe", "new"}, {"zemble.exe", "new"}}));
}

TEST(NorvPath, DeletesWhatTheShimsWereCopiedFromAndTheOldOnesThatAreNotInUse) {
    Shims pc({packagesKit()});
    pc.machine.volumes.lockAsProgram(kOldTarget + u"\\norv.exe");
    pc.run();
    EXPECT_FALSE(pc.machine.volumes.exists(kStaging));
    EXPECT_EQ(pc.files(kOldTarget), Strings{"norv.exe"});
    pc.run();
    EXPECT_TRUE(logHas(pc.machine, "no where to copy shims from, exiting"));
    EXPECT_EQ(pc.shims(), kNewShims);
}

TEST(NorvPath, PointsToAnotherDirectoryOfAnUnusedName) {
    Shims pc({packagesKit()});
    pc.machine.volumes.addDirectory(kJunction + u"_target_4294967295");
    pc.machine.volumes.addDirectory(kJunction + u"_target_0");
    pc.machine.facts.clock.setTicks(0x1FFFFFFFFull);
    pc.run();
    const tstring target = kJunction + u"_target_1";
    EXPECT_EQ(pc.machine.volumes.junctionTarget(kJunction), target);
    EXPECT_EQ(pc.machine.volumes.security(target),
              "D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;WD)");
}

TEST(NorvPath, KeepsItsShimsWhenThePackagesKitIsRemoved) {
    Shims pc({qvk("17"), packagesKit()});
    pc.run();
    const auto target = pc.machine.volumes.junctionTarget(kJunction);
    uninstall(pc.machine, packagesKit());
    pc.run();
    EXPECT_EQ(pc.shims(), kNewShims);
    EXPECT_NE(pc.machine.volumes.junctionTarget(kJunction), target);
    EXPECT_FALSE(pc.machine.volumes.exists(*target));
}

TEST(NorvPath, LogsTheVersionsThatItDecidesBy) {
    Shims pc({qvk("17"), packagesKit()});
    pc.run();
    for (const char* record :
         {"Norvpath: The latest QVK version installed is: 21.0.12.1",
          "Norvpath: This version of the QVK is: 21.0.12.1",
          "Shim: A QVK 11.0.8 and < 12, or 15+ exists", "Norvpath: A SHIM-AWARE QVK exists."}) {
        EXPECT_TRUE(logHas(pc.machine, record)) << record;
    }
}

}  // namespace
