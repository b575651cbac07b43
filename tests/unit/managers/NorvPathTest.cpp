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
            const auto version = NorvVersionDetails::sourceText(one.version);
            ::products::install(machine, one.type == Bundle::kQvr
                                             ? ::products::qvr(version, one.bits)
                                             : ::products::qvk(version, one.bits));
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
            return machine.volumes.exists(kJunction) ? "no junction" : "none";
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
        const char* shims;
        bool stagingStays;
    } cases[] = {
        {"-", "none", true},
        {"k64:11.0.7", "none", true},
        {"k64:11.0.8", kOldAnew, true},
        {"k64:11.1.0", kOldAnew, true},
        {"k64:12.0.1 k64:14.0.2", "none", true},
        {"k64:15", kOldAnew, true},
        {"k64:1.8.0_45-b13", "none", true},
        {"k32:21.0.12.1+1 r64:21.0.12.1+1", "none", true},
        {kPackage, kNew, false},
        {"k64:17 k64:21.0.12.1+1 k64:14.0.2 k64:11.0.8", kNew, false},
        {"k64:21.0.12.1+1 k64:21.0.12.1+2", kOldAsItWas, true},
        {"k64:22 k64:17", kOldAsItWas, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.listed);
        Shims pc(c.listed);
        pc.run();
        EXPECT_EQ(pc.shims(), c.shims);
        EXPECT_EQ(pc.machine.volumes.exists(kStaging), c.stagingStays);
        const bool removed = c.shims == std::string("none");
        EXPECT_EQ(pc.path(), removed ? "C:\\Windows" : toUtf8(kJunction) + ";C:\\Windows");
        EXPECT_EQ(pc.machine.volumes.exists(kOldTarget), c.shims == std::string(kOldAsItWas));
        EXPECT_EQ(pc.machine.desktop.broadcasts.size(), removed ? 1u : 0u);
    }
}

TEST(NorvPath, KeepsTheRestOfPath) {
    const std::string ours = toUtf8(kJunction);
    const std::string shouted = toUtf8(simulated::upperCase(kJunction));
    std::string longOne;
    while (longOne.size() < 30000) {
        longOne += "C:\\Tools\\" + std::to_string(longOne.size()) + ";";
    }
    const struct {
        std::string before, added, removed;
    } cases[] = {
        {"C:\\Windows", ours + ";C:\\Windows", "C:\\Windows"},
        {"C:\\Windows;" + shouted, "C:\\Windows;" + shouted, "C:\\Windows"},
        {"", ours + ";", ""},
        {"a;;b;", ours + ";a;;b;", "a;;b;"},
        {";;a", ours + ";;;a", "a"},
        {ours + ";a;" + ours, ours + ";a;" + ours, "a"},
        {longOne, ours + ";" + longOne, longOne},
        {"a;" + ours + "2;" + ours + "\\", ours + ";a;" + ours + "2;" + ours + "\\",
         "a;" + ours + "2;" + ours + "\\"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.before.substr(0, 80));
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
    {
        SCOPED_TRACE("nothing staged");
        Shims pc(kPackage);
        pc.machine.volumes.remove(kStaging);
        pc.run();
        EXPECT_EQ(pc.shims(), kOldAsItWas);
        EXPECT_TRUE(logHas(pc.machine, "no where to copy shims from, exiting"));
    }
    {
        SCOPED_TRACE("a shim is running");
        Shims pc(kPackage);
        pc.machine.volumes.lockAsProgram(kOldTarget + _T("\\norv.exe"));
        pc.run();
        EXPECT_EQ(pc.shims(), kNew);
        EXPECT_EQ(pc.files(kOldTarget), "norv.exe");
        EXPECT_EQ(pc.machine.volumes.security(*pc.machine.volumes.junctionTarget(kJunction)),
                  "D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;WD)");
    }
    for (const bool removing : {false, true}) {
        SCOPED_TRACE("the path directory is a folder of the user's");
        Shims pc(removing ? "-" : kPackage);
        pc.machine.volumes.remove(kJunction);
        pc.machine.volumes.addFile(kJunction + _T("\\mine.txt"));
        EXPECT_THROW(pc.run(), std::runtime_error);
        EXPECT_EQ(pc.shims() + " " + pc.files(kJunction), "no junction mine.txt");
        EXPECT_TRUE(pc.machine.volumes.exists(kStaging));
        EXPECT_EQ(pc.path().find("norvpath") == std::string::npos, removing);
    }
    {
        SCOPED_TRACE("the names of targets are taken; one shim is missing; a window hangs");
        Shims pc(kPackage);
        pc.setPath(_T("a"));
        pc.machine.facts.clock.setTicks(0x1FFFFFFFFull);
        pc.machine.volumes.addDirectory(kJunction + _T("_target_4294967295"));
        pc.machine.volumes.remove(kStaging + _T("\\norvw.exe"));
        pc.machine.desktop.hangs = true;
        pc.run();
        EXPECT_EQ(toUtf8(*pc.machine.volumes.junctionTarget(kJunction)),
                  toUtf8(kJunction) + "_target_0");
        EXPECT_EQ(pc.shims(), "new norv.exe|norvc.exe|zemble.exe");
        ASSERT_EQ(pc.errors().size(), 2u);
        EXPECT_NE(pc.errors()[0].find("CopyFile("), std::string::npos);
        EXPECT_EQ(pc.errors()[1].rfind("SendMessageTimeout failed with system error 1460", 0), 0u);
    }
    {
        SCOPED_TRACE("no junction can be made: what is needed for another try stays");
        Shims pc(kPackage);
        pc.machine.calls.failCall("DeviceIoControl", 2);
        EXPECT_THROW(pc.run(), SysError);
        EXPECT_TRUE(pc.machine.volumes.exists(kStaging + _T("\\norv.exe")));
        EXPECT_TRUE(logMentions(pc.machine, "norvpath targetDir: "));
        pc.run();
        EXPECT_EQ(pc.shims(), kNew);
    }
}

TEST(NorvPath, ServesAProductFromItsInstallToItsEnd) {
    Shims pc("k64:17");
    pc.machine.volumes.remove(kOldTarget);
    pc.machine.volumes.remove(kJunction);
    pc.setPath(_T("C:\\Windows"));
    pc.installAll(kPackage);
    pc.run();
    EXPECT_EQ(pc.shims(), kNew);
    pc.uninstall(kPackage);
    pc.machine.facts.clock.advance(1000);
    pc.run();
    EXPECT_EQ(pc.shims(), kNew) << "copied from target to target";
    pc.uninstall("k64:17");
    pc.run();
    pc.machine.restart();
    EXPECT_EQ(pc.shims(), "none");
    EXPECT_TRUE(pc.machine.volumes.files(kCommon).empty());
    EXPECT_EQ(pc.path(), "C:\\Windows");
    EXPECT_EQ(pc.errors(), Strings());
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
