#include "support/Products.h"
#include "unit/managers/Family.h"
#include "windows/installerdll/NorvPath.h"

using namespace family;

namespace {

const tstring kCommon = _T("C:\\Program Files\\Common Files\\Dovrin\\Norv\\");
const tstring kJunction = kCommon + _T("norvpath");
const tstring kStaging = kCommon + _T("norvtmp");
const tstring kOldTarget = kJunction + _T("_target_7");
const char* const kPackage = "k64:21.0.12.1+1";

/// A machine with shims of an older product in place, and new ones staged.
struct Shims : Family {
    explicit Shims(std::string_view installed) {
        for (const TCHAR* name : {_T("\\norv.exe"), _T("\\norvw.exe")}) {
            machine.volumes.addFile(kStaging + name, "new");
            machine.volumes.addFile(kOldTarget + name, "old");
        }
        machine.volumes.addFile(kOldTarget + _T("\\norvc.exe"), "changed");
        machine.volumes.addJunction(kJunction, kOldTarget);
        setPath(kJunction + _T(";C:\\Windows"));
        installAll(installed);
    }

    void installAll(std::string_view texts) {
        for (const InstalledNorv& one : family::products(texts)) {
            const auto make = one.type == Bundle::kQvr ? ::products::qvr : ::products::qvk;
            ::products::install(machine,
                                make(NorvVersionDetails::sourceText(one.version), one.bits));
        }
    }
    void uninstall(std::string_view text) {
        ::products::uninstall(machine, ::products::qvk(fromUtf8(text.substr(4))));
    }
    void setPath(const tstring& path) {
        machine.registry.setExpandString(View::Bits64, kEnvironment, _T("Path"), path);
    }
    std::string path() const { return value(kEnvironment, _T("Path")); }
    void run() { handle(manager); }

    /// What a shell finds through `Path`: "new: norv.exe|..." with the content of all shims.
    std::string shims() const {
        const auto target = machine.volumes.junctionTarget(kJunction);
        if (!target) {
            return "none";
        }
        std::string contents;
        for (const tstring& file : machine.volumes.files(*target)) {
            const std::string content = machine.volumes.content(file).value_or("?");
            contents += contents.find(content) == std::string::npos ? content + " " : "";
        }
        return contents + files(*target);
    }
    NorvPathManager manager;
};

const char* const kNew = "new norv.exe|norvc.exe|norvw.exe|zemble.exe";
const char* const kOldAsItWas = "old changed norv.exe|norvc.exe|norvw.exe";
const char* const kOldAnew = "old norv.exe|norvc.exe|norvw.exe|zemble.exe";

TEST(NorvPath, DecidesByTheVersionsThatAreInstalled) {
    const struct {
        const char* listed;
        std::string shims;
    } cases[] = {
        {"-", "none"},
        {"k64:11.0.7", "none"},
        {"k64:11.0.8", kOldAnew},
        {"k64:12.0.1 k64:14.0.2", "none"},
        {"k64:15", kOldAnew},
        {"k32:21.0.12.1+1 r64:21.0.12.1+1", "none"},
        {"k64:17 k64:21.0.12.1+1 k64:14.0.2 k64:11.0.8", kNew},
        {"k64:21.0.12.1+1 k64:21.0.12.1+2", kOldAsItWas},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Shims pc(c.listed);
        pc.run();
        EXPECT_EQ(pc.shims(), c.shims);
        EXPECT_EQ(pc.machine.volumes.exists(kStaging), c.shims != kNew);
        EXPECT_EQ(pc.path(),
                  c.shims == "none" ? "C:\\Windows" : toUtf8(kJunction) + ";C:\\Windows");
        EXPECT_EQ(pc.machine.volumes.exists(kOldTarget), c.shims == kOldAsItWas);
    }
}

TEST(NorvPath, KeepsTheRestOfPath) {
    const std::string ours = toUtf8(kJunction);
    const std::string shouted = toUtf8(simulated::upperCase(kJunction));
    const struct {
        std::string before, added, removed;
    } cases[] = {
        {"C:\\Windows;" + shouted, "C:\\Windows;" + shouted, "C:\\Windows"},
        {"", ours + ";", ""},
        {";;a;", ours + ";;;a;", "a;"},
        {ours + ";a;" + ours, ours + ";a;" + ours, "a"},
        {"a;" + ours + "2;" + ours + "\\", ours + ";a;" + ours + "2;" + ours + "\\",
         "a;" + ours + "2;" + ours + "\\"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.before);
        Shims adding(kPackage);
        adding.setPath(fromUtf8(c.before));
        adding.run();
        EXPECT_EQ(adding.path(), c.added);
        EXPECT_EQ(adding.machine.desktop.broadcasts.size(), c.added == c.before ? 0u : 1u);

        Shims removing("-");
        removing.setPath(fromUtf8(c.before));
        removing.run();
        EXPECT_EQ(removing.path(), c.removed);
        ASSERT_EQ(removing.machine.desktop.broadcasts.size(), 1u);
        const simulated::Broadcast& sent = removing.machine.desktop.broadcasts[0];
        EXPECT_EQ(std::tuple(sent.message, toUtf8(sent.text), sent.flags, sent.timeout),
                  std::tuple(26u, "Environment", 2u, 5000u));
        EXPECT_EQ(removing.machine.registry.getValue(View::Bits64, kEnvironment, _T("Path"))->type,
                  static_cast<DWORD>(REG_EXPAND_SZ));
    }
}

TEST(NorvPath, MeetsWhatStandsInItsWay) {
    Shims unstaged(kPackage);
    unstaged.machine.volumes.remove(kStaging);
    unstaged.run();
    EXPECT_EQ(unstaged.shims(), kOldAsItWas);
    EXPECT_TRUE(logHas(unstaged.machine, "no where to copy shims from, exiting"));

    for (const bool removing : {false, true}) {
        Shims occupied(removing ? "-" : kPackage);
        occupied.machine.volumes.remove(kJunction);
        occupied.machine.volumes.addFile(kJunction + _T("\\mine.txt"));
        EXPECT_THROW(occupied.run(), std::runtime_error);
        EXPECT_EQ(occupied.files(kJunction), "mine.txt");
        EXPECT_EQ(occupied.path().find("norvpath") == std::string::npos, removing);
    }

    Shims busy(kPackage);
    busy.machine.volumes.lockAsProgram(kOldTarget + _T("\\norv.exe"));
    busy.machine.volumes.remove(kStaging + _T("\\norvw.exe"));
    busy.setPath(_T("a"));
    busy.machine.desktop.hangs = true;
    busy.run();
    EXPECT_EQ(busy.shims(), "new norv.exe|norvc.exe|zemble.exe");
    EXPECT_EQ(busy.files(kOldTarget), "norv.exe");
    EXPECT_TRUE(logMentions(busy.machine, "SendMessageTimeout failed with system error 1460"));
}

TEST(NorvPath, ServesAProductFromItsInstallToItsEnd) {
    Shims pc("k64:17");
    pc.machine.volumes.remove(kOldTarget);
    pc.machine.volumes.remove(kJunction);
    pc.setPath(_T("C:\\Windows"));
    pc.installAll(kPackage);
    pc.machine.facts.clock.setTicks(0x1FFFFFFFFull);
    pc.machine.volumes.addDirectory(kJunction + _T("_target_4294967295"));
    // What an attempt needs is still there for the next one.
    pc.machine.calls.failCall("DeviceIoControl", 1);
    EXPECT_THROW(pc.run(), SysError);
    pc.machine.facts.clock.setTicks(0x1FFFFFFFFull);
    pc.run();
    EXPECT_EQ(pc.shims(), kNew);
    const tstring target = pc.machine.volumes.junctionTarget(kJunction).value();
    EXPECT_EQ(toUtf8(target), toUtf8(kJunction) + "_target_1") << "others are taken";
    EXPECT_EQ(pc.machine.volumes.security(target),
              "D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;WD)");
    pc.uninstall(kPackage);
    pc.run();
    EXPECT_EQ(pc.shims(), kNew) << "copied from target to target";
    pc.uninstall("k64:17");
    pc.run();
    EXPECT_EQ(pc.shims(), "none");
    EXPECT_EQ(pc.path(), "C:\\Windows");
    for (const char* line :
         {"Norvpath: This version of the QVK is: 21.0.12.1",
          "Shim: A QVK 11.0.8 and < 12, or 15+ exists", "Norvpath: A SHIM-AWARE QVK exists.",
          "Norvpath: Installing and we are the latest SHIM-AWAREQVK, setup shims.",
          "Norvpath: Uninstalling and there is a SHIM-AWAREQVK remaining.",
          "Norvpath: No SHIM-AWARE QVKs remain, delete all shims."}) {
        EXPECT_TRUE(logHas(pc.machine, line)) << line;
    }
}

}  // namespace
