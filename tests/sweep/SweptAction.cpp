#include "builders/Product.h"
#include "sweep/SweptAction.h"
#include "support/Updater.h"

namespace sweep {

namespace {

using simulated::Machine;
using simulated::View;

constexpr UINT kFunctionFailed = 1627;
constexpr UINT kInstallFailure = 1603;
constexpr UINT kBadConfiguration = 61015;

/// The version of this build: a product of it makes the update set up the command shims.
const std::string kOwnVersion = "21.0.12.1+1";

const std::u16string kCommonDirectory = u"C:\\Program Files\\Common Files\\Dovrin\\Norv\\";

#define COMMON_DIRECTORY R"(C:\\Program Files\\Common Files\\Dovrin\\Norv\\)"

/// What an interrupted set-up of the shims leaves for good, after a failure and after a stop: each
/// run makes a new target directory and uses none again, and shims are copied from the staging
/// directory alone.
ExpectedDifferences leftByInterruptedShims() {
    return {
        {.pattern =
             std::regex(R"(\+ directory )" COMMON_DIRECTORY R"(norvpath_target_#( D:\(.*\))?)"),
         .reason = "a new target directory that the junction does not lead to yet"},
        {.pattern = std::regex(R"(\+ file )" COMMON_DIRECTORY
                               R"(norvpath_target_#\\(norv|norvw|norvc|zemble)\.exe ".*")"),
         .reason = "the shims in such a directory"},
        {.pattern = std::regex(R"(\+ (directory|file) )" COMMON_DIRECTORY
                               R"(norvpath_target_1(\\norv\.exe "old launcher")?)"),
         .reason = "the old target directory, when the run ended after the junction was changed "
                   "and before the directory was deleted"},
        {.pattern = std::regex(R"(- file )" COMMON_DIRECTORY
                               R"(norvpath_target_#\\(norv|norvw|norvc|zemble)\.exe ".*")"),
         .reason = "a shim that was not copied, or was deleted with part of the staging directory"},
        {.pattern = std::regex(R"(\+ directory )" COMMON_DIRECTORY R"(norvpath)"),
         .reason = "the directory that was to become the junction; later runs do not replace it"},
        {.pattern = std::regex(R"(- directory )" COMMON_DIRECTORY R"(norvpath -> )" COMMON_DIRECTORY
                               R"(norvpath_target_#)"),
         .reason = "the junction, which is not made because of that directory"},
        {.pattern = std::regex(R"(\+ (directory|file) )" COMMON_DIRECTORY
                               R"(norvtmp(\\norvw?\.exe ".*")?)"),
         .reason = "the staging directory, because of that directory"},
        {.pattern = std::regex(
             R"([-+] registry HKLM\\SYSTEM\\.*\\Environment \[Path\] REG_EXPAND_SZ )"
             R"("(C:\\Program Files\\Common Files\\Dovrin\\Norv\\norvpath;)?%SystemRoot%\\system32;C:\\tools")"),
         .reason = "the search path, which names the junction only where it was made"},
    };
}

/// What a failed call of the update leaves for good.
ExpectedDifferences leftByFailedUpdate() {
    return {
        {.pattern = std::regex(
             R"(- registry HKLM\\SOFTWARE\\(Wow6432Node\\)?Halvorex\\)"
             R"((QVR\\21\.0\.3|QVK\\17\.0\.9|Norv Runtime Environment\\1\.8(\.0_45|\.0_60)?|)"
             R"(Norv Development Kit\\1\.8(\.0)?)( \[(NorvHome|RuntimeLib|MicroVersion)\] REG_SZ ".*")?)"),
         .reason = "the version key of a product that could not be read counts as stale"},
        {.pattern = std::regex(
             R"(\+ file C:\\Program Files.*\\bin\\WindowsAssistLink-(32|64)3600000\.dll ".*" version .*)"),
         .reason =
             "a bridge library that could not be replaced at once is copied beside its source"},
        {.pattern = std::regex(
             R"(\+ at restart C:\\Program Files.*\\bin\\WindowsAssistLink-(32|64)3600000\.dll is moved to )"
             R"(C:\\Windows\\(System32|SysWOW64)\\WindowsAssistLink-(32|64)\.dll)"),
         .reason = "and moved at the restart"},
        {.pattern = std::regex(
             R"(\+ at restart C:\\Windows\\System32\\WindowsAssistLink-64\.dll is deleted)"),
         .reason = "a bridge library that could not be deleted at once is deleted at the restart"},
    };
}

SweptAction productUpdate() {
    return {
        .name = "SetLatestQvr",
        .properties = {{u"CustomActionData", u"ProductCode=" + family::qvk(kOwnVersion).code}},
        .statuses = {0, kFunctionFailed},
        .ownFiles = std::regex(R"(Common Files\\Dovrin\\Norv\\norv|Start Menu\\Programs\\Norv|)"
                               R"(WindowsAssistLink|\\core\.zip )"),
        .expected = leftByInterruptedShims(),
        .expectedAfterFailure = leftByFailedUpdate(),
    };
}

SweptAction removalOfFolders() {
    return {
        .name = "MSIRemoveFoldersOnReboot",
        .properties = {{u"INSTALLDIR", u"C:\\old home"}},
        .statuses = {0, kFunctionFailed},
        .ownFiles = std::regex(R"(C:\\old home|C:\\Users\\User\\linked)"),
        .expectedAfterFailure =
            {{.pattern =
                  std::regex(R"(\+ at restart C:\\old home)"
                             R"((\\(b\.txt|bin(\\a\.exe)?|link(\\letter\.txt)?))? is deleted)"),
              .reason = "what could not be deleted at once stays registered for the restart"}},
    };
}

SweptAction disablingOfTheUpdater() {
    return {
        .name = "DisableVomlitExe",
        .statuses = {0, kFunctionFailed},
        .ownFiles = std::regex(R"(\\vomlit\.exe )"),
        .expected =
            {{.pattern = std::regex(
                  R"(- property DisableVomlitExe=\{4A03706F-666A-4037-7777-5F2748764D10\}\*.*\\Temp\\#\.tmp)"),
              .reason =
                  "the disturbed run moved the tool; the next run finds none and sets nothing"},
             {.pattern = std::regex(R"(\+ file C:\\Users\\User\\AppData\\Local\\Temp\\#\.tmp "")"),
              .reason = "an empty temporary file, when the tool could not be moved onto it"}},
        .expectedAfterFailure =
            {{.pattern = std::regex(R"(\+ file C:\\Windows\\System32\\#\.tmp "updater")"),
              .reason = "without a temporary directory the tool is moved to the current directory"},
             {.pattern =
                  std::regex(R"(- file C:\\Users\\User\\AppData\\Local\\Temp\\#\.tmp "updater")"),
              .reason = "and not to the temporary directory"}},
    };
}

SweptAction restoringOfTheUpdater() {
    return {
        .name = "RestoreVomlitExe",
        .properties = {{u"DisableVomlitExe", updater::kProductCode + u"*C:\\Temp\\1.tmp"}},
        .statuses = {0, kFunctionFailed},
        .ownFiles = std::regex(R"(C:\\Temp\\1\.tmp )"),
        // The disturbed run may have restored the tool; the next one refuses to replace it.
        .nextStatuses = {0, kFunctionFailed},
    };
}

/// Leftovers of older products, and what the four managers maintain: each has something to change.
void addStateOfOlderProducts(Machine& machine) {
    const std::u16string vendor = u"HKLM\\Software\\Halvorex";
    auto& registry = machine.registry;
    registry.setString(View::Bits64, vendor + u"\\Norv Runtime Environment\\1.6.0_10", u"NorvHome",
                       u"C:\\gone");
    registry.setString(View::Bits64, vendor + u"\\QVK\\11.0.2\\MSI", u"MODE", u"S");
    registry.setString(
        View::Bits64, u"HKCU\\User\\Software\\Halvorex\\Norv Runtime Environment\\1.5", u"x", u"1");
    registry.setExpandString(
        View::Bits64, u"HKLM\\SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
        u"Path", u"%SystemRoot%\\system32;C:\\tools");
    auto& volumes = machine.volumes;
    volumes.addFile(kCommonDirectory + u"norvtmp\\norv.exe", "new launcher");
    volumes.addFile(kCommonDirectory + u"norvtmp\\norvw.exe", "new window launcher");
    volumes.addFile(kCommonDirectory + u"norvpath_target_1\\norv.exe", "old launcher");
    volumes.addJunction(kCommonDirectory + u"norvpath", kCommonDirectory + u"norvpath_target_1");
    volumes.addFile(u"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Norv\\Stale.lnk",
                    "stale");
    volumes.addFile(u"C:\\Windows\\System32\\WindowsAssistLink-64.dll", "old bridge");
    volumes.addFile(family::qvk(kOwnVersion).homeDir + u"\\core.zip", "leftover");
    volumes.addFile(u"C:\\Users\\Public\\Documents\\mine.txt", "a user's own");
}

/// What the actions other than the update work on: the updater, settings, a tree to delete.
void addWorkOfTheOtherActions(Machine& machine, const SweptAction& action) {
    updater::Updater installed;
    installed.missingExecutable = action.properties.count(u"DisableVomlitExe") == 0 ? "" : "vomlit";
    updater::install(machine, installed);
    auto& volumes = machine.volumes;
    volumes.addFile(u"C:\\Temp\\1.tmp", "the tool");
    // The tree has a junction to a user's directory. The deletion follows it, so the files in that
    // directory count as part of the tree.
    volumes.addFile(u"C:\\Users\\User\\linked\\letter.txt", "a user's own");
    volumes.addFile(u"C:\\Users\\User\\beside.txt", "a user's own");
    volumes.addJunction(u"C:\\old home\\link", u"C:\\Users\\User\\linked");
    volumes.addFile(u"C:\\old home\\bin\\a.exe", "x");
    volumes.addFile(u"C:\\old home\\b.txt", "x");
    volumes.setReadOnly(u"C:\\old home\\b.txt");
    volumes.addFile(u"C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg",
                    "AUTO_UPDATE=Disable\r\nWEB_NORV_SECURITY_LEVEL=H\r\n");
    volumes.addFile(u"C:\\norv.cfg", "INSTALLDIR=C:\\chosen\\\nSTATIC=1\n");
}

}  // namespace

const std::vector<SweptAction>& sweptActions() {
    static const std::vector<SweptAction> actions = {
        productUpdate(),
        {.name = "MSILoadMsiPropertiesFromConfig",
         .properties = {{u"MSICMDLINE",
                         u"INSTALLCFG=C:\\norv.cfg REMOVEOLDERQVRS=1 REBOOT=No /qn"}},
         // When MsiSetProperty refuses "INSTALLDIR", the action returns the installer's own status.
         .statuses = {0, kFunctionFailed, kBadConfiguration}},
        {.name = "MSIValidateInstallDir",
         .properties = {{u"INSTALLDIR", u"C:\\new"}},
         .statuses = {0, 610018, 610019, 610020, 610021, kFunctionFailed}},
        {.name = "MSIIsLocalSystemSupported", .statuses = {0, kFunctionFailed}},
        {.name = "MSISetImpersonate",
         .properties = {{u"INSTALLCFG", u"\\\\server\\share\\x.cfg"}},
         .statuses = {0}},
        removalOfFolders(),
        disablingOfTheUpdater(),
        restoringOfTheUpdater(),
        {.name = "DisableAUUninstall",
         .properties = {{u"OLDQVRS", u"{26A24AE4-039D-4CA4-87B4-2F64180045F0};"}},
         .statuses = {0, kFunctionFailed}},
        {.name = "checkIfReservedLocationOccupied",
         .properties = {{u"ISSILENT", u"1"}},
         .statuses = {0, kInstallFailure}},
        {.name = "checkIfInstallDirReserved",
         .properties = {{u"INSTALLDIR", u"C:\\x"}},
         .statuses = {0, kInstallFailure}},
    };
    return actions;
}

std::unique_ptr<Machine> makeMachine(const SweptAction& action) {
    auto machine = std::make_unique<Machine>();
    auto old = family::qvr("1.8.0_45-b13", 64);
    old.manifestVersion = u"1.8.0_45-b13";
    // All four classes of products and both schemes of versions.
    for (const auto& product :
         {old, family::qvr("1.8.0_60-b02", 32), family::qvk("1.8.0-b05", 32),
          family::qvr("21.0.3+7", 64), family::qvk("17.0.9+9", 64), family::qvk(kOwnVersion)}) {
        family::install(*machine, product);
    }
    addStateOfOlderProducts(*machine);
    if (action.properties.count(u"CustomActionData") == 0) {
        addWorkOfTheOtherActions(*machine, action);
    }
    return machine;
}

}  // namespace sweep
