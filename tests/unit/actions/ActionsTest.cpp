// What the actions beside the update and the configuration do.
#include <algorithm>

#include "builders/Product.h"
#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "support/Updater.h"
#include "windows/common/InstallDirValidator.h"
#include "windows/customactions/ActionFrame.h"
#include "windows/customactions/InstallDirActions.h"
#include "windows/customactions/ReservedLocation.h"
#include "windows/customactions/UpdaterActions.h"

namespace {

using namespace family;
using tstrings::toUtf8;

const tstring kLatest = u"C:\\Program Files\\Norv\\latest";
using updater::kTool;
const tstring kTemp = u"C:\\Users\\User\\AppData\\Local\\Temp\\";

class Actions : public OnMachine {
protected:
    ~Actions() override { EXPECT_TRUE(machine.installer.openHandles().empty()); }

    tstring& property(const char16_t* name) {
        return machine.installer.session(session).properties[name];
    }
    /// Status, property and refusal of an action on the reserved location.
    std::string outcome(void (*action)(msi::CA&), const char16_t* name) {
        const UINT status = runInFullFrame("f", session, action);
        const std::string error = status == 0 ? "" : logMessages(machine, "ERROR").back();
        return std::to_string(status) + " " + toUtf8(property(name)) +
               error.substr(std::min(error.find("():"), error.size()));
    }
    /// The content of the updater's tool, or "-" if it isn't there.
    std::string tool() { return machine.volumes.content(kTool).value_or("-"); }

    simulated::Volumes& volumes = machine.volumes;
    MSIHANDLE session = machine.installer.openSession();
};

TEST_F(Actions, JudgeTheDirectory) {
    for (const TCHAR* file : {u"C:\\full\\file", u"C:\\a;b\\file", u"C:\\file"}) {
        volumes.addFile(file);
    }
    volumes.addDrive(u'N', DRIVE_REMOTE);
    const std::pair<tstring, UINT> cases[] = {
        {u"", 610021},      {u"\\", 610021},      {u"\\x", 610020},
        {u"N:\\x", 610020}, {u"C:\\a;b", 610019}, {u"C:\\full", 610018},
        {u"C:\\file", 0},   {u"xy", 0},           {u"Q:\\gone", 0},
    };
    for (const auto& [path, status] : cases) {
        property(u"INSTALLDIR") = path;
        EXPECT_EQ(validateInstallDir(session), status) << toUtf8(path);
    }
    EXPECT_EQ(
        logMessages(machine, "ERROR"),
        (std::vector<std::string>{
            "INSTALLDIR  path is too short. It is not supported by this product.",
            "INSTALLDIR \\ path is too short. It is not supported by this product.",
            "INSTALLDIR path C:\\a;b contains a semi-colon. It is not supported by this product.",
            "INSTALLDIR C:\\full is not empty. It is not supported by this product."}));
    property(u"INSTALLDIR") = u"C:\\full";
    for (const auto& [type, status] : {std::pair{u"AU", 0u}, {u"aux", 610018u}}) {
        property(u"INSTALL_TYPE") = type;
        EXPECT_EQ(validateInstallDir(session), status);
    }
    EXPECT_EQ(logMessages(machine, "INFO"),
              std::vector<std::string>{"Auto update installation. Do not validate INSTALLDIR"});
    InstalledNorv product;
    product.homeDir = u"c:\\FULL";
    EXPECT_EQ(InstallDirValidator({product}).validate(u"C:\\full"), 0u);
}

TEST_F(Actions, AskWhoStartedTheInstaller) {
    volumes.addDrive(u'N', DRIVE_REMOTE);
    using Become = void (*)(simulated::Security&);
    const Become admin = [](auto&) {};
    const Become user = [](auto& security) { security.becomeOrdinaryUser(); };
    const Become filtered = [](auto& security) { security.becomeFilteredAdministrator(); };
    const Become system = [](auto& security) { security.becomeLocalSystem(); };
    const std::string notRemote = "TRACE INSTALLCFG is not set to a remote drive location";
    const std::string notAdmin = "TRACE Original MSI invoker not Admin or LocalSystem user";
    // The action, who runs it, the value of the property that it reads, and its last record.
    const std::tuple<UINT (*)(MSIHANDLE), Become, tstring, std::string> cases[] = {
        {isLocalSystemSupported, admin, u"",
         "TRACE Original MSI invoker is NOT the LocalSystem User"},
        {isLocalSystemSupported, system, u"yes",
         "TRACE Enterprise MSI detected, LocalSystem supported"},
        {isLocalSystemSupported, system, u"1",
         "ERROR LocalSystem is only supported for Enterprise MSI"},
        {setImpersonate, admin, u"x",
         "TRACE INSTALLCFG is either not set by user, or not set properly"},
        {setImpersonate, admin, u"C:\\x.cfg", notRemote},
        {setImpersonate, admin, u"Q:\\x.cfg", notRemote},
        {setImpersonate, user, u"N:\\x.cfg", notAdmin},
        {setImpersonate, filtered, u"N:\\x.cfg", notAdmin},
        {setImpersonate, system, u"N:\\x.cfg",
         "TRACE Original MSI invoker is the LocalSystem User"},
        {setImpersonate, admin, u"N:\\x.cfg",
         "TRACE Original MSI invoker (S-1-5-21-1004336348-1177238915-682003330-1001) is an Admin "
         "User, set IMPERSONATE=1"},
    };
    for (const auto& [action, become, value, expected] : cases) {
        machine.security = {};
        become(machine.security);
        property(u"ENTERPRISE") = property(u"INSTALLCFG") = value;
        EXPECT_EQ(action(session), expected.starts_with("ERROR") ? 1627u : 0u);
        const LogRecord record = logRecords(machine).back();
        EXPECT_EQ(record.level + " " + record.message, expected);
        EXPECT_EQ(property(u"IMPERSONATE"), expected.ends_with("=1") ? u"1" : u"");
    }
}

TEST_F(Actions, RemoveTheTreeNowOrAtTheRestart) {
    volumes.addFile(u"C:\\full\\deep\\used.dll");
    volumes.lock(u"C:\\full\\deep\\used.dll");
    property(u"INSTALLDIR") = u"C:\\full";
    EXPECT_EQ(removeFoldersOnReboot(session), 0u);
    EXPECT_TRUE(logHas(machine, " INSTALLDIR which is passed via command line is C:\\full"));
    machine.restart();
    EXPECT_FALSE(volumes.exists(u"C:\\full"));
}

TEST_F(Actions, LetTheReservedLocationHoldAReparsePointAlone) {
    const tstring entry = kLatest + u"\\qvk-21";
    const auto occupied = [&] {
        return outcome(checkReservedLocationOccupied, u"DIRECTORYOCCUPIED");
    };
    volumes.addJunction(entry, u"C:\\gone");
    EXPECT_EQ(occupied(), "0 0");
    volumes.remove(entry);
    EXPECT_EQ(occupied(), "0 0");
    volumes.addFile(entry);
    EXPECT_EQ(occupied(), "0 1");
    property(u"ISSILENT") = u"1";
    EXPECT_EQ(occupied(),
              "1603 1(): We have detected that a location already exists. Please clean up that "
              "directory and rerun the installer.' caught");
}

TEST_F(Actions, KeepTheReservedLocationFromInstallations) {
    const std::tuple<tstring, tstring, std::string> cases[] = {
        {u"", u"1", "0 0"},
        {kLatest.substr(0, kLatest.size() - 1), u"1", "0 0"},
        {kLatest, u"1",
         "1603 1(): The directory chosen for installation is reserved. Please choose another "
         "location.' caught"},
        {tstrings::toLower(kLatest) + u"x\\y", u"", "0 1"},
        {u"C:\\PROGRA~1\\Norv\\qvk-21", u"0", "0 1"},
        {u"C:\\PROGRA~1", u"", "0 1"},
        {u"C:\\PROGRA~", u"", "0 0"},
        {u"C:\\a|b", u"", "1603 0(): isSamePath: Illegal characters in first arg C:\\a|b' caught"},
    };
    volumes.addDirectory(kLatest);
    // The folder comes before the property.
    machine.calls.keepOrder(true);
    for (const auto& [directory, silent, expected] : cases) {
        property(u"INSTALLDIR") = directory;
        property(u"ISSILENT") = silent;
        EXPECT_EQ(outcome(checkInstallDirReserved, u"RESERVEDDIRECTORY"), expected);
    }
    const auto& order = machine.calls.order();
    EXPECT_LT(std::ranges::find(order, "RegQueryValueExW"),
              std::ranges::find(order, "MsiGetPropertyW"));
}

TEST_F(Actions, MoveTheUpdatersToolAsideAndBack) {
    EXPECT_EQ(disableVomlitExe(session), 0u);
    EXPECT_EQ(machine.calls.count("MsiEnumProductsW"), 0u);  // no tool
    property(u"DisableVomlitExe") = u"x";
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_TRUE(logHas(machine, "Unexpected value of 'DisableVomlitExe' property=x"));

    volumes.addFile(kTool, "tool");
    const Product other = qvr("21");
    install(machine, other);
    EXPECT_EQ(disableVomlitExe(session), 0u);
    EXPECT_EQ(logMessages(machine, "WARNING").back(),
              "Unexpected state: '" + toUtf8(kTool) +
                  "' path exists, but no products that provide it detected.");
    EXPECT_EQ(tool(), "tool");

    updater::install(machine);
    Product provider = qvr("1.8.0_45-b13");
    provider.packageComponents[u"registration"] = updater::kToolComponentId;
    install(machine, provider);
    machine.installer.product(other.code)
        ->package.table(u"Component", {})
        .row({u"vomlitcomponent", u""});
    const std::string before = tool();
    volumes.lock(kTool);
    EXPECT_ANY_THROW(disableVomlitExe(session));
    EXPECT_EQ(property(u"DisableVomlitExe"), u"x");
    volumes.unlock(kTool);
    ASSERT_EQ(disableVomlitExe(session), 0u);
    const tstring value = property(u"DisableVomlitExe");
    const tstring head = updater::kProductCode + u"*" + provider.code + u"*" + other.code + u"*" + kTemp;
    ASSERT_TRUE(value.starts_with(head) && value.ends_with(u".tmp")) << toUtf8(value);
    EXPECT_TRUE(logHas(machine, "DisableVomlitExe=[" + toUtf8(value) + "]"));
    EXPECT_EQ(tool(), "-");
    EXPECT_EQ(volumes.content(value.substr(value.rfind(u'*') + 1)), before);

    // The last of the providers is enough, but a file that stands there isn't replaced.
    machine.installer.removeProduct(updater::kProductCode);
    volumes.addFile(kTool, "new");
    EXPECT_ANY_THROW(restoreVomlitExe(session));
    EXPECT_EQ(tool(), "new");
    machine.calls.failCall("MsiSetPropertyW", 1, 1608);
    EXPECT_EQ(disableVomlitExe(session), 1608u);
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    EXPECT_EQ(tool(), before);
    property(u"DisableVomlitExe") = updater::kProductCode + u"*" + kTemp;
    EXPECT_EQ(restoreVomlitExe(session), 0u);
    property(u"DisableVomlitExe") = u"*" + kTemp;
    EXPECT_ANY_THROW(restoreVomlitExe(session));
    // A runtime whose package can't be asked.
    machine.installer.product(provider.code)->package.unreadable(1619);
    EXPECT_ANY_THROW(disableVomlitExe(session));
}

TEST_F(Actions, KeepTheUpdaterForRuntimesThatStay) {
    const Product legacy = qvr("1.8.0_45-b13");
    machine.installer.session(session)
        .database.table(u"Upgrade", {u"UpgradeCode", u"ActionProperty"})
        .row({u"{…}", u"OTHER"})
        .row({u"{…}", u"OLDER"});
    install(machine, qvk("17"));
    install(machine, legacy);
    property(u"OLDER") = u";x;ab;{1};" + legacy.code;
    EXPECT_EQ(disableAUUninstall(session), 0u);
    EXPECT_EQ(property(u"AUVERSIONSINSTALLED"), u"");
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 2u);
    install(machine, qvr("17", 32));
    EXPECT_EQ(disableAUUninstall(session), 0u);
    EXPECT_EQ(property(u"AUVERSIONSINSTALLED"), u";");
}

}  // namespace
