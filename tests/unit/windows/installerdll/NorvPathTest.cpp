#include "windows/installerdll/NorvPath.h"

#include "builders/Product.h"
#include "unit/windows/installerdll/Family.h"

using namespace family;

namespace {

const tstring kJunction = u"C:\\Program Files\\Common Files\\Dovrin\\Norv\\norvpath";
const tstring kStaging = u"C:\\Program Files\\Common Files\\Dovrin\\Norv\\norvtmp";
const tstring kOldTarget = kJunction + u"_target_7";
const char* const kPackage = "k64:21.0.12.1+1";

/// A machine with shims of an older product in place, and new ones staged.
struct Shims : Family {
    explicit Shims(const std::string& installed, const std::string& path = "C:\\Windows")
        : Family(installed) {
        for (const TCHAR* name : {u"\\norv.exe", u"\\norvw.exe"}) {
            machine.volumes.addFile(kStaging + name, "new");
            machine.volumes.addFile(kOldTarget + name, "old");
        }
        machine.volumes.addFile(kOldTarget + u"\\norvc.exe", "changed");
        machine.volumes.addJunction(kJunction, kOldTarget);
        machine.registry.setExpandString(View::Bits64, kEnvironment, u"Path", fromUtf8(path));
    }

    void run() { handle(NorvPathManager()); }

    /// What a shell finds through `Path`, with the content of each.
    std::string shims() const {
        const auto target = machine.volumes.junctionTarget(kJunction);
        std::string result = target ? "" : "none";
        for (const tstring& file : machine.volumes.files(target.value_or(u"C:\\none"))) {
            result += toUtf8(file.substr(target->size())) + "=" + *machine.volumes.content(file);
        }
        return result;
    }
};

const char* const kNew = "\\norv.exe=new\\norvc.exe=new\\norvw.exe=new\\zemble.exe=new";
const char* const kOldAsItWas = "\\norv.exe=old\\norvc.exe=changed\\norvw.exe=old";
const char* const kOldAnew = "\\norv.exe=old\\norvc.exe=old\\norvw.exe=old\\zemble.exe=old";

TEST(NorvPath, DecidesByTheVersionsThatAreInstalled) {
    const std::string ours = toUtf8(kJunction);
    const std::string shouted = "C:\\Windows;" + toUtf8(simulated::upperCase(kJunction));
    const std::string alike = "a;" + ours + "2;" + ours + "\\";
    const struct {
        const char* name;
        const char* listed;
        std::string shims, pathBefore, pathAfter;
    } cases[] = {
        {.name = "a kit before 11.0.8",
         .listed = "k64:11.0.7",
         .shims = "none",
         .pathBefore = shouted,
         .pathAfter = "C:\\Windows"},
        {.name = "kits from 12 to 14",
         .listed = "k64:12.0.1 k64:14.0.2",
         .shims = "none",
         .pathBefore = ";;a;",
         .pathAfter = "a;"},
        {.name = "a 32-bit kit and a runtime",
         .listed = "k32:21.0.12.1+1 r64:21.0.12.1+1",
         .shims = "none",
         .pathBefore = ours + ";a;" + ours,
         .pathAfter = "a"},
        {.name = "no product, and directories of similar names",
         .listed = "",
         .shims = "none",
         .pathBefore = alike,
         .pathAfter = alike},
        {.name = "the first kit with shims, another than the package's",
         .listed = "k64:11.0.8",
         .shims = kOldAnew,
         .pathBefore = "",
         .pathAfter = ours + ";"},
        {.name = "a kit of 15, in Path already",
         .listed = "k64:15",
         .shims = kOldAnew,
         .pathBefore = shouted,
         .pathAfter = shouted},
        {.name = "the package's kit is the latest",
         .listed = "k64:17 k64:21.0.12.1+1 k64:14.0.2 k64:11.0.8",
         .shims = kNew,
         .pathBefore = alike,
         .pathAfter = ours + ";" + alike},
        {.name = "a later build than the package's",
         .listed = "k64:21.0.12.1+1 k64:21.0.12.1+2",
         .shims = kOldAsItWas,
         .pathBefore = "a",
         .pathAfter = "a"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Shims pc(c.listed, c.pathBefore);
        pc.run();
        EXPECT_EQ(pc.shims(), c.shims);
        EXPECT_EQ(pc.machine.volumes.exists(kStaging), c.shims != kNew);
        EXPECT_EQ(pc.machine.volumes.exists(kOldTarget), c.shims == kOldAsItWas);
        EXPECT_EQ(pc.tree(kEnvironment), "[Path%=" + c.pathAfter + "]");
        // A removal is told to others whether or not there was anything to remove.
        const auto& broadcasts = pc.machine.desktop.broadcasts;
        EXPECT_EQ(broadcasts.size(), c.shims == "none" || c.pathAfter != c.pathBefore ? 1u : 0u);
        for (const simulated::Broadcast& sent : broadcasts) {
            EXPECT_EQ(std::tuple(sent.message, toUtf8(sent.text), sent.flags, sent.timeout),
                      std::tuple(26u, "Environment", 2u, 5000u));
        }
        EXPECT_TRUE(logHas(
            pc.machine,
            "Norvpath: " +
                std::string(c.shims == "none" ? "No SHIM-AWARE QVKs remain, delete all shims."
                            : c.shims == kNew
                                ? "Installing and we are the latest SHIM-AWAREQVK, setup shims."
                            : c.shims == kOldAnew
                                ? "Uninstalling and there is a SHIM-AWAREQVK remaining."
                                : "Installing and we are NOT the latest, don't do anything.")));
        EXPECT_EQ(pc.catchPoints(), "");
    }
}

TEST(NorvPath, MeetsWhatStandsInItsWay) {
    for (const char* listed : {kPackage, ""}) {
        Shims occupied(listed, toUtf8(kJunction));
        occupied.machine.volumes.remove(kJunction);
        occupied.machine.volumes.addFile(kJunction + u"\\mine.txt");
        occupied.run();
        EXPECT_TRUE(logMentions(occupied.machine, "norvpath: not a link"));
        EXPECT_EQ(occupied.files(kJunction), "mine.txt");
        EXPECT_EQ(occupied.value(kEnvironment, u"Path").empty(), listed != kPackage);
    }

    Shims busy(kPackage);
    busy.machine.volumes.lockAsProgram(kOldTarget + u"\\norv.exe");
    busy.machine.volumes.remove(kStaging + u"\\norvw.exe");
    busy.machine.desktop.hangs = true;
    busy.run();
    EXPECT_EQ(busy.shims(), "\\norv.exe=new\\norvc.exe=new\\zemble.exe=new");
    EXPECT_EQ(busy.files(kOldTarget), "norv.exe");
    EXPECT_TRUE(logMentions(busy.machine, "SendMessageTimeout failed with system error 1460"));

    busy.run();  // with nothing staged
    EXPECT_EQ(busy.shims(), "\\norv.exe=new\\norvc.exe=new\\zemble.exe=new");
    EXPECT_TRUE(logHas(busy.machine, "no where to copy shims from, exiting"));
}

TEST(NorvPath, ServesAProductFromItsInstallToItsEnd) {
    Shims pc("k64:17 k64:21.0.12.1+1");
    auto& volumes = pc.machine.volumes;
    volumes.remove(kOldTarget);
    volumes.remove(kJunction);
    volumes.addDirectory(kJunction + u"_target_4294967295");
    // What an attempt needs is still there for the next one.
    pc.machine.calls.failCall("DeviceIoControl", 1);
    for (const char* shims : {"none", kNew}) {
        pc.machine.facts.clock.setTicks(0x1FFFFFFFFull);
        pc.run();
        EXPECT_EQ(pc.shims(), shims);
    }
    const tstring target = kJunction + u"_target_1";
    EXPECT_EQ(volumes.junctionTarget(kJunction), target) << "others are taken";
    EXPECT_EQ(volumes.security(target), "D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;WD)");
    uninstall(pc.machine, qvk("21.0.12.1+1"));
    pc.run();
    EXPECT_EQ(pc.shims(), kNew) << "copied from target to target";
    EXPECT_FALSE(volumes.exists(target));
    for (const char* line :
         {"Norvpath: The latest QVK version installed is: 21.0.12.1",
          "Norvpath: This version of the QVK is: 21.0.12.1",
          "Shim: A QVK 11.0.8 and < 12, or 15+ exists", "Norvpath: A SHIM-AWARE QVK exists."}) {
        EXPECT_TRUE(logHas(pc.machine, line)) << line;
    }
}

}  // namespace
