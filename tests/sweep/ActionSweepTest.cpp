// Runs each action again and again on machines that are alike, each time with another platform call
// failing, or being the last of the process: there must be no leak, a status that is due, and a
// machine that an undisturbed run brings into the state of one that was never disturbed.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <regex>
#include <set>

#include "simulated/machine/Wide.h"
#include "support/LibraryProcess.h"
#include "support/Products.h"

namespace {

using simulated::Machine;
using simulated::View;
using Facts = std::multiset<std::string>;

constexpr UINT kFunctionFailed = 1627;
constexpr UINT kInstallFailure = 1603;
constexpr UINT kBadConfiguration = 61015;

constexpr int kShards = 8;

/// A handle whose closing fails is still open: that is no leak of the library's.
const std::set<std::string> kClosers = {
    "CloseHandle", "RegCloseKey",     "FindClose", "MsiCloseHandle", "MsiViewClose",
    "FreeLibrary", "UnmapViewOfFile", "LocalFree", "_close",         "fclose"};

/// Functions that a fault may end in the middle of a file's content.
const std::set<std::string> kCopiers = {"CopyFileW", "MoveFileExW"};

/// A difference that a disturbed run may leave behind for good, with the rule of the library that
/// brings it about.
struct ExpectedDifference {
    const char* pattern;  ///< ECMAScript, of a whole line of the differences
    const char* reason;
};
using Expected = std::vector<ExpectedDifference>;

struct SweptAction {
    const char* name;
    products::Texts properties;  ///< of the session; with "CustomActionData" it is a deferred one
    std::set<UINT> statuses;     ///< every one that the action may end with
    /// ECMAScript, found in the line of each file or directory that the action may take away.
    const char* ownPlaces = "^$";
    Expected expected = {};
    Expected expectedAfterFailure = {};  ///< and not after a stop
    /// Every status of an undisturbed run behind the disturbed one.
    std::set<UINT> nextStatuses = {0};
};

#define NORV_COMMON R"(C:\\Program Files\\Common Files\\Dovrin\\Norv\\)"

/// What an interrupted set-up of the shims leaves for good, be it by a failure or by a stop. A new
/// target is made each time and none is used again; shims come from the staging directory alone,
/// and what is missing there stays missing.
const Expected kInterruptedShims = {
    {R"(\+ directory )" NORV_COMMON R"(norvpath_target_#( D:\(.*\))?)",
     "a new target that the junction wasn't led to"},
    {R"(\+ file )" NORV_COMMON R"(norvpath_target_#\\(norv|norvw|norvc|zemble)\.exe ".*")",
     "and the shims in it"},
    {R"(\+ (directory|file) )" NORV_COMMON R"(norvpath_target_1(\\norv\.exe "old launcher")?)",
     "the old target, when the run ended between the new junction and the deletion"},
    {R"(- file )" NORV_COMMON R"(norvpath_target_#\\(norv|norvw|norvc|zemble)\.exe ".*")",
     "a shim whose copying failed, or that was gone from a half-deleted staging directory"},
    {R"(\+ directory )" NORV_COMMON R"(norvpath)",
     "a directory that was to become the junction; from there on it is in the way"},
    {R"(- directory )" NORV_COMMON R"(norvpath -> )" NORV_COMMON R"(norvpath_target_#)",
     "the junction that isn't made in its place"},
    {R"(\+ (directory|file) )" NORV_COMMON R"(norvtmp(\\norvw?\.exe ".*")?)",
     "the staging directory then"},
    {R"([-+] registry HKLM\\SYSTEM\\.*\\Environment \[Path\] REG_EXPAND_SZ )"
     R"("(C:\\Program Files\\Common Files\\Dovrin\\Norv\\norvpath;)?%SystemRoot%\\system32;C:\\tools")",
     "and the search path"},
};

/// What a failure leaves besides.
const Expected kFailedUpdate = {
    {R"(- registry HKLM\\SOFTWARE\\(Wow6432Node\\)?Halvorex\\)"
     R"((QVR\\21\.0\.3|QVK\\17\.0\.9|Norv Runtime Environment\\1\.8(\.0_45|\.0_60)?|)"
     R"(Norv Development Kit\\1\.8(\.0)?)( \[(NorvHome|RuntimeLib|MicroVersion)\] REG_SZ ".*")?)",
     "the version key of a product that could not be read is taken for a stale one"},
    {R"(\+ file C:\\Program Files.*\\bin\\WindowsAssistLink-(32|64)3600000\.dll ".*")",
     "a bridge library that could not be replaced at once lies beside its source"},
    {R"(\+ at restart C:\\Program Files.*\\bin\\WindowsAssistLink-(32|64)3600000\.dll is moved to )"
     R"(C:\\Windows\\(System32|SysWOW64)\\WindowsAssistLink-(32|64)\.dll)",
     "until the restart"},
    {R"(\+ at restart C:\\Windows\\System32\\WindowsAssistLink-64\.dll is deleted)",
     "one that could not be deleted goes at the restart"},
};

/// The package's own version: with it on the machine the shims are set up anew.
const std::u16string kOwnVersion = u"21.0.12.1+1";

const std::vector<SweptAction>& allActions() {
    static const std::vector<SweptAction> actions = {
        {"SetLatestQvr",
         {{u"CustomActionData", u"ProductCode=" + products::qvk(kOwnVersion).code}},
         {0, kFunctionFailed},
         R"(Common Files\\Dovrin\\Norv\\norv|Start Menu\\Programs\\Norv|WindowsAssistLink|\\core\.zip )",
         kInterruptedShims,
         kFailedUpdate},
        {"MSILoadMsiPropertiesFromConfig",
         {{u"MSICMDLINE", u"INSTALLCFG=C:\\norv.cfg REMOVEOLDERQVRS=1 REBOOT=No /qn"}},
         // A refused MsiSetProperty of "INSTALLDIR" gives the installer's own status.
         {0, kFunctionFailed, kBadConfiguration}},
        {"MSIValidateInstallDir",
         {{u"INSTALLDIR", u"C:\\new"}},
         {0, 610018, 610019, 610020, 610021, kFunctionFailed}},
        {"MSIIsLocalSystemSupported", {}, {0, kFunctionFailed}},
        {"MSISetImpersonate", {{u"INSTALLCFG", u"\\\\server\\share\\x.cfg"}}, {0}},
        {"MSIRemoveFoldersOnReboot",
         {{u"INSTALLDIR", u"C:\\old home"}},
         {0, kFunctionFailed},
         R"(C:\\old home|C:\\Users\\User\\linked)",
         {},
         {{R"(\+ at restart C:\\old home(\\(b\.txt|bin(\\a\.exe)?|link(\\letter\.txt)?))? is deleted)",
           "what could not be deleted at once stays registered for the restart"}}},
        {"DisableVomlitExe",
         {},
         {0, kFunctionFailed},
         R"(\\vomlit\.exe )",
         {{R"(- property DisableVomlitExe=\{4A03706F-666A-4037-7777-5F2748764D10\}\*.*\\Temp\\#\.tmp)",
           "the run before has moved the tool; the next one finds none and tells nothing"},
          {R"(\+ file C:\\Users\\User\\AppData\\Local\\Temp\\#\.tmp "")",
           "an empty temporary file stays when the tool could not be moved into it"}},
         {{R"(\+ file C:\\Windows\\System32\\#\.tmp "updater")",
           "a temporary directory that can't be told is taken for the current one"},
          {R"(- file C:\\Users\\User\\AppData\\Local\\Temp\\#\.tmp "updater")",
           "instead of its own"}}},
        // Behind a disturbed run the tool may be back already: then it isn't replaced.
        {"RestoreVomlitExe",
         {{u"DisableVomlitExe", products::kUpdaterCode + u"*C:\\Temp\\1.tmp"}},
         {0, kFunctionFailed},
         R"(C:\\Temp\\1\.tmp )",
         {},
         {},
         {0, kFunctionFailed}},
        {"DisableAUUninstall",
         {{u"OLDQVRS", u"{26A24AE4-039D-4CA4-87B4-2F64180045F0};"}},
         {0, kFunctionFailed}},
        {"checkIfReservedLocationOccupied", {{u"ISSILENT", u"1"}}, {0, kInstallFailure}},
        {"checkIfInstallDirReserved", {{u"INSTALLDIR", u"C:\\x"}}, {0, kInstallFailure}},
    };
    return actions;
}

/// Products of all four classes and both schemes, with leftovers of older ones: every manager has
/// work to do. The actions beside the update find the updater, settings and a tree to delete.
std::unique_ptr<Machine> makeMachine(const SweptAction& action) {
    auto machine = std::make_unique<Machine>();
    const std::u16string vendor = u"HKLM\\Software\\Halvorex";
    const std::u16string common = u"C:\\Program Files\\Common Files\\Dovrin\\Norv\\";
    auto old = products::qvr(u"1.8.0_45-b13", 64);
    old.manifestVersion = u"1.8.0_45-b13";
    for (const auto& product : {old, products::qvr(u"1.8.0_60-b02", 32),
                                products::qvk(u"1.8.0-b05", 32), products::qvr(u"21.0.3+7", 64),
                                products::qvk(u"17.0.9+9", 64), products::qvk(kOwnVersion)}) {
        products::install(*machine, product);
    }
    auto& registry = machine->registry;
    registry.setString(View::Bits64, vendor + u"\\Norv Runtime Environment\\1.6.0_10", u"NorvHome",
                       u"C:\\gone");
    registry.setString(View::Bits64, vendor + u"\\QVK\\11.0.2\\MSI", u"MODE", u"S");
    registry.setString(
        View::Bits64, u"HKCU\\User\\Software\\Halvorex\\Norv Runtime Environment\\1.5", u"x", u"1");
    registry.setExpandString(
        View::Bits64, u"HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
        u"Path", u"%SystemRoot%\\system32;C:\\tools");
    auto& volumes = machine->volumes;
    volumes.addFile(common + u"norvtmp\\norv.exe", "new launcher");
    volumes.addFile(common + u"norvtmp\\norvw.exe", "new window launcher");
    volumes.addFile(common + u"norvpath_target_1\\norv.exe", "old launcher");
    volumes.addJunction(common + u"norvpath", common + u"norvpath_target_1");
    volumes.addFile(u"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Norv\\Stale.lnk",
                    "stale");
    volumes.addFile(u"C:\\Windows\\System32\\WindowsAssistLink-64.dll", "old bridge");
    volumes.addFile(products::qvk(kOwnVersion).homeDir + u"\\core.zip", "leftover");
    volumes.addFile(u"C:\\Users\\Public\\Documents\\mine.txt", "a user's own");
    if (action.properties.count(u"CustomActionData") != 0) {
        return machine;
    }
    products::Updater updater;
    updater.missing = action.properties.count(u"DisableVomlitExe") == 0 ? "" : "vomlit";
    products::installUpdater(*machine, updater);
    volumes.addFile(u"C:\\Temp\\1.tmp", "the tool");
    // A junction to a user's folder, in a tree that is deleted: the walk goes through it, so what
    // is behind it counts as part of the tree.
    volumes.addFile(u"C:\\Users\\User\\linked\\letter.txt", "a user's own");
    volumes.addFile(u"C:\\Users\\User\\beside.txt", "a user's own");
    volumes.addJunction(u"C:\\old home\\link", u"C:\\Users\\User\\linked");
    volumes.addFile(u"C:\\old home\\bin\\a.exe", "x");
    volumes.addFile(u"C:\\old home\\b.txt", "x");
    volumes.setReadOnly(u"C:\\old home\\b.txt");
    volumes.addFile(u"C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg",
                    "AUTO_UPDATE=Disable\r\nWEB_NORV_SECURITY_LEVEL=H\r\n");
    volumes.addFile(u"C:\\norv.cfg", "INSTALLDIR=C:\\chosen\\\nSTATIC=1\n");
    return machine;
}

/// What differs from run to run by nature: ticks in the names of files.
std::string withoutTicks(const std::string& fact) {
    static const std::regex ticks(R"((norvpath_target_|\\)[0-9]{5,}(?=\.tmp|\b))");
    const bool mayHold = fact.find("norvpath_target_") != std::string::npos ||
                         fact.find(".tmp") != std::string::npos;
    return mayHold ? std::regex_replace(fact, ticks, "$1#") : fact;
}

/// The facts of a machine, and those of its session.
Facts describe(const Machine& machine, Facts facts = {}) {
    for (const std::string& fact : machine.describe()) {
        facts.insert(withoutTicks(fact));
    }
    return facts;
}

std::vector<std::string> differences(const Facts& wanted, const Facts& found) {
    std::vector<std::string> lines;
    std::set_symmetric_difference(wanted.begin(), wanted.end(), found.begin(), found.end(),
                                  std::back_inserter(lines));
    for (std::string& line : lines) {
        line.insert(0, wanted.count(line) > found.count(line) ? "- " : "+ ");
    }
    return lines;
}

struct Outcome {
    UINT status;
    std::vector<std::string> leaks;
    std::string disturbed;  ///< the function whose call was
    Facts properties;       ///< of the session, afterwards
};

Outcome run(const SweptAction& action, Machine& machine, const std::function<void()>& disturb) {
    auto& installer = machine.installer;
    const auto data = action.properties.find(u"CustomActionData");
    const MSIHANDLE session = data == action.properties.end()
                                  ? installer.openSession(action.properties)
                                  : installer.openDeferredSession(data->second);
    installer.session(session)
        .database.table(u"Upgrade", {u"UpgradeCode", u"ActionProperty"})
        .row({u"{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AA}", u"OLDQVRS"});
    disturb();
    LibraryProcess process(machine);
    Outcome outcome = {process.call(action.name, session),
                       machine.handles.open(),
                       machine.calls.faultedFunction(),
                       {}};
    for (const auto& more : {installer.openHandles(), machine.shell.openObjects()}) {
        outcome.leaks.insert(outcome.leaks.end(), more.begin(), more.end());
    }
    for (const auto& [name, value] : installer.session(session).properties) {
        outcome.properties.insert(
            withoutTicks("property " + simulated::toUtf8(name) + "=" + simulated::toUtf8(value)));
    }
    return outcome;
}

bool isExpected(const std::string& difference, const Expected& expected) {
    return std::any_of(expected.begin(), expected.end(), [&](const auto& one) {
        return std::regex_match(difference, std::regex(one.pattern));
    });
}

/// The action, whether the process stops at the call instead of the call failing, and the part of
/// the calls: every `kShards`-th.
class ActionSweep : public testing::TestWithParam<std::tuple<std::size_t, bool, int>> {
protected:
    void complain(const std::string& complaint) { complaints_.push_back(at_ + complaint); }

    /// Complains of each file that is gone and that the action had no business with.
    void expectOthersKept(const Facts& after) {
        for (const std::string& difference : differences(before_, after)) {
            if (std::regex_search(difference, std::regex("^- (file|directory) ")) &&
                !std::regex_search(difference, std::regex(action_.ownPlaces))) {
                complain("not to be touched: " + difference);
            }
        }
    }

    void disturb(int n, bool halvesCopy) {
        const auto machine = makeMachine(action_);
        const Outcome outcome = run(action_, *machine, [&] {
            machine->volumes.nextFaultHalvesCopy = halvesCopy;
            stops_ ? machine->calls.stopAtCall(n) : machine->calls.failCall(n);
        });
        at_ = "call " + std::to_string(n) + " (" + outcome.disturbed + "): ";
        if (!stops_ && action_.statuses.count(outcome.status) == 0) {
            complain("status " + std::to_string(outcome.status));
        }
        if (!stops_ && kClosers.count(outcome.disturbed) == 0 && !outcome.leaks.empty()) {
            complain("left open: " + outcome.leaks.front());
        }
        const Facts after = describe(*machine);
        // A run on a machine in a state that was seen before ends as the one then did.
        static std::map<std::string, std::set<Facts>> known;
        if (!known[action_.name].insert(after).second) {
            return;
        }
        expectOthersKept(after);
        machine->facts.clock.advance(60000);
        const Outcome again = run(action_, *machine, [] {});
        if (action_.nextStatuses.count(again.status) == 0) {
            complain("the next run's status " + std::to_string(again.status));
        }
        for (const std::string& difference :
             differences(wanted_, describe(*machine, again.properties))) {
            if (!isExpected(difference, action_.expected) &&
                (stops_ || !isExpected(difference, action_.expectedAfterFailure))) {
                complain(difference);
            }
        }
    }

    const SweptAction& action_ = allActions()[std::get<0>(GetParam())];
    const bool stops_ = std::get<1>(GetParam());
    Facts before_;
    Facts wanted_;
    std::string at_ = "undisturbed: ";
    std::vector<std::string> complaints_;
};

TEST_P(ActionSweep, LeavesTheMachineInOrder) {
    const auto machine = makeMachine(action_);
    before_ = describe(*machine);
    machine->calls.clearJournal();
    machine->calls.keepOrder(true);
    const Outcome good = run(action_, *machine, [] {});
    EXPECT_EQ(good.status, 0u);
    EXPECT_EQ(good.leaks, std::vector<std::string>());
    wanted_ = describe(*machine, good.properties);
    expectOthersKept(describe(*machine));
    const std::vector<std::string>& calls = machine->calls.order();
    int count = 0;
    for (std::size_t n = 1 + std::get<2>(GetParam()); n <= calls.size(); n += kShards, ++count) {
        disturb(n, false);
        if (kCopiers.count(calls[n - 1]) != 0) {
            disturb(n, true);
        }
    }
    EXPECT_EQ(complaints_, std::vector<std::string>());
    std::printf("swept %d calls of %s\n", count, action_.name);
}

INSTANTIATE_TEST_SUITE_P(Actions, ActionSweep,
                         testing::Combine(testing::Range(std::size_t(0), allActions().size()),
                                          testing::Bool(), testing::Range(0, kShards)),
                         [](const auto& part) {
                             return std::string(allActions()[std::get<0>(part.param)].name) +
                                    (std::get<1>(part.param) ? "_stop_" : "_failure_") +
                                    std::to_string(std::get<2>(part.param));
                         });

}  // namespace
