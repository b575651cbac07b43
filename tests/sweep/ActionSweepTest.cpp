#include <gtest/gtest.h>

#include <map>

#include "support/Products.h"
#include "sweep/Sweep.h"

namespace {

using simulated::Machine;
using simulated::View;

constexpr UINT kFunctionFailed = 1627;
constexpr UINT kInstallFailure = 1603;
constexpr UINT kBadConfiguration = 61015;

constexpr std::uint64_t kShards = 8;

const std::u16string kVendor = u"HKLM\\Software\\Halvorex";
const std::u16string kCommon = u"C:\\Program Files\\Common Files\\Dovrin\\Norv\\";
const std::u16string kMenu = u"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\";

/// The package's own version: with it on the machine the shims are set up anew.
const std::u16string kOwnVersion = u"21.0.12.1+1";

/// Products of all four classes and both schemes, with leftovers of older ones: a machine on which
/// every manager has work to do.
std::unique_ptr<Machine> familyMachine() {
    auto machine = std::make_unique<Machine>();
    auto old = products::qvr(u"1.8.0_45-b13", 64);
    old.manifestVersion = u"1.8.0_45-b13";
    for (const auto& product : {old, products::qvr(u"1.8.0_60-b02", 32),
                                products::qvk(u"1.8.0-b05", 32), products::qvr(u"21.0.3+7", 64),
                                products::qvk(u"17.0.9+9", 64), products::qvk(kOwnVersion, 64)}) {
        products::install(*machine, product);
    }
    auto& registry = machine->registry;
    registry.setString(View::Bits64, kVendor + u"\\Norv Runtime Environment\\1.6.0_10", u"NorvHome",
                       u"C:\\gone");
    registry.setString(View::Bits64, kVendor + u"\\QVK\\11.0.2\\MSI", u"MODE", u"S");
    registry.setString(
        View::Bits64, u"HKCU\\User\\Software\\Halvorex\\Norv Runtime Environment\\1.5", u"x", u"1");
    registry.setExpandString(
        View::Bits64, u"HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
        u"Path", u"%SystemRoot%\\system32;C:\\tools");
    auto& volumes = machine->volumes;
    volumes.addFile(kCommon + u"norvtmp\\norv.exe", "new launcher");
    volumes.addFile(kCommon + u"norvtmp\\norvw.exe", "new window launcher");
    volumes.addFile(kCommon + u"norvpath_target_1\\norv.exe", "old launcher");
    volumes.addJunction(kCommon + u"norvpath", kCommon + u"norvpath_target_1");
    volumes.addFile(kMenu + u"Norv\\Stale.lnk", "stale");
    volumes.addFile(u"C:\\Windows\\System32\\WindowsAssistLink-64.dll", "old bridge");
    const auto kit = products::qvk(kOwnVersion, 64);
    volumes.addFile(kit.homeDir + u"\\core.zip", "leftover");
    volumes.addFile(u"C:\\Users\\Public\\Documents\\mine.txt", "a user's own");
    return machine;
}

#define NORV_COMMON R"(C:\\Program Files\\Common Files\\Dovrin\\Norv\\)"

/// What an interrupted set-up of the shims leaves for good, be it by a failure or by a stop. A new
/// target is made each time and none is used again; shims come from the staging directory alone,
/// and what is missing there stays missing.
const std::vector<ExpectedDifference> kInterruptedShims = {
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
const std::vector<ExpectedDifference> kFailedUpdate = {
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

/// The updater's tool after a run that was disturbed behind its move, or could not make it.
const std::vector<ExpectedDifference> kInterruptedMove = {
    {R"(- property DisableVomlitExe=\{4A03706F-666A-4037-7777-5F2748764D10\}\*.*\\Temp\\#\.tmp)",
     "the run before has moved the tool; the next one finds none and tells nothing"},
    {R"(\+ file C:\\Users\\User\\AppData\\Local\\Temp\\#\.tmp "")",
     "an empty temporary file stays when the tool could not be moved into it"},
};

const std::vector<ExpectedDifference> kNoTemporaryDirectory = {
    {R"(\+ file C:\\Windows\\System32\\#\.tmp "updater")",
     "a temporary directory that can't be told is taken for the current one"},
    {R"(- file C:\\Users\\User\\AppData\\Local\\Temp\\#\.tmp "updater")", "instead of its own"},
};

/// What an update may take away: shims, the menu's folder, the bridge library and the leftovers.
const char* const kSharedPlaces =
    R"(Common Files\\Dovrin\\Norv\\norv|Start Menu\\Programs\\Norv|WindowsAssistLink|\\core\.zip )";
const char* const kNowhere = "^$";

SweptAction setLatestQvr() {
    const std::u16string code(products::qvk(kOwnVersion, 64).code);
    return {"SetLatestQvr",
            familyMachine,
            [=](Machine& machine) {
                return machine.installer.openDeferredSession(u"ProductCode=" + code);
            },
            {0, kFunctionFailed},
            kInterruptedShims,
            kFailedUpdate,
            kSharedPlaces};
}

SweptAction loadMsiPropertiesFromConfig() {
    return {"MSILoadMsiPropertiesFromConfig",
            [] {
                auto machine = familyMachine();
                machine->volumes.addFile(
                    u"C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg",
                    "AUTO_UPDATE=Disable\r\nWEB_NORV_SECURITY_LEVEL=H\r\n");
                machine->volumes.addFile(u"C:\\norv.cfg", "INSTALLDIR=C:\\chosen\\\nSTATIC=1\n");
                return machine;
            },
            [](Machine& machine) {
                return machine.installer.openSession(
                    {{u"MSICMDLINE", u"INSTALLCFG=C:\\norv.cfg REMOVEOLDERQVRS=1 REBOOT=No /qn"}});
            },
            // A refused MsiSetProperty of "INSTALLDIR" gives the installer's own status.
            {0, kFunctionFailed, kBadConfiguration},
            {},
            {},
            kNowhere};
}

SweptAction immediate(const char* action, std::map<std::u16string, std::u16string> properties,
                      std::set<UINT> statuses, std::vector<ExpectedDifference> expected = {},
                      std::vector<ExpectedDifference> afterFailure = {},
                      const char* ownPlaces = kNowhere) {
    const bool toolIsAway = properties.count(u"DisableVomlitExe") != 0;
    return {action,
            [=] {
                auto machine = familyMachine();
                products::Updater updater;
                updater.missing = toolIsAway ? "vomlit" : "";
                products::installUpdater(*machine, updater);
                machine->volumes.addFile(u"C:\\Temp\\1.tmp", "the tool");
                // A junction to a user's folder, in a tree that is deleted: the walk goes through
                // it, so what is behind it counts as part of the tree.
                machine->volumes.addFile(u"C:\\Users\\User\\linked\\letter.txt", "a user's own");
                machine->volumes.addFile(u"C:\\Users\\User\\beside.txt", "a user's own");
                machine->volumes.addJunction(u"C:\\old home\\link", u"C:\\Users\\User\\linked");
                machine->volumes.addFile(u"C:\\old home\\bin\\a.exe", "x");
                machine->volumes.addFile(u"C:\\old home\\b.txt", "x");
                machine->volumes.setReadOnly(u"C:\\old home\\b.txt");
                return machine;
            },
            [=](Machine& machine) {
                const MSIHANDLE session = machine.installer.openSession(properties);
                machine.installer.session(session)
                    .database.table(u"Upgrade", {u"UpgradeCode", u"ActionProperty"})
                    .row({u"{0B7F2E57-4E1E-4C55-9E2B-65C0B7B1D0AA}", u"OLDQVRS"});
                return session;
            },
            std::move(statuses),
            std::move(expected),
            std::move(afterFailure),
            ownPlaces};
}

SweptAction restoreVomlitExe() {
    SweptAction action = immediate(
        "RestoreVomlitExe", {{u"DisableVomlitExe", products::kUpdaterCode + u"*C:\\Temp\\1.tmp"}},
        {0, kFunctionFailed}, {}, {}, R"(C:\\Temp\\1\.tmp )");
    // The tool is back already and isn't replaced.
    action.nextStatuses = {0, kFunctionFailed};
    return action;
}

std::vector<SweptAction> allActions() {
    return {
        setLatestQvr(),
        loadMsiPropertiesFromConfig(),
        immediate("MSIValidateInstallDir", {{u"INSTALLDIR", u"C:\\new"}},
                  {0, 610018, 610019, 610020, 610021, kFunctionFailed}),
        immediate("MSIIsLocalSystemSupported", {}, {0, kFunctionFailed}),
        immediate("MSISetImpersonate", {{u"INSTALLCFG", u"\\\\server\\share\\x.cfg"}}, {0}),
        immediate(
            "MSIRemoveFoldersOnReboot", {{u"INSTALLDIR", u"C:\\old home"}}, {0, kFunctionFailed},
            {},
            {{R"(\+ at restart C:\\old home(\\(b\.txt|bin(\\a\.exe)?|link(\\letter\.txt)?))? is deleted)",
              "what could not be deleted at once stays registered for the restart"}},
            R"(C:\\old home|C:\\Users\\User\\linked)"),
        immediate("DisableVomlitExe", {}, {0, kFunctionFailed}, kInterruptedMove,
                  kNoTemporaryDirectory, R"(\\vomlit\.exe )"),
        restoreVomlitExe(),
        immediate("DisableAUUninstall", {{u"OLDQVRS", u"{26A24AE4-039D-4CA4-87B4-2F64180045F0};"}},
                  {0, kFunctionFailed}, {}, {}, kNowhere),
        immediate("checkIfReservedLocationOccupied", {{u"ISSILENT", u"1"}}, {0, kInstallFailure}),
        immediate("checkIfInstallDirReserved", {{u"INSTALLDIR", u"C:\\x"}}, {0, kInstallFailure}),
    };
}

struct Part {
    std::size_t action;
    Disturbance disturbance;
    std::uint64_t shard;
};

class ActionSweep : public testing::TestWithParam<Part> {};

TEST_P(ActionSweep, LeavesTheMachineInOrder) {
    const Part part = GetParam();
    const SweptAction action = allActions()[part.action];
    const std::uint64_t calls = sweep(action, part.disturbance, {part.shard, kShards});
    RecordProperty("calls", static_cast<int>(calls));
    std::printf("swept %llu calls of %s\n", static_cast<unsigned long long>(calls), action.action);
}

std::vector<Part> parts() {
    std::vector<Part> all;
    for (std::size_t action = 0; action < allActions().size(); ++action) {
        for (const Disturbance disturbance : {Disturbance::Failure, Disturbance::Stop}) {
            for (std::uint64_t shard = 0; shard < kShards; ++shard) {
                all.push_back({action, disturbance, shard});
            }
        }
    }
    return all;
}

std::string partName(const testing::TestParamInfo<Part>& info) {
    return std::string(allActions()[info.param.action].action) +
           (info.param.disturbance == Disturbance::Stop ? "_stop_" : "_failure_") +
           std::to_string(info.param.shard);
}

INSTANTIATE_TEST_SUITE_P(Actions, ActionSweep, testing::ValuesIn(parts()), partName);

}  // namespace
