#include "windows/customactions/InstallDirActions.h"

#include "unit/windows/customactions/ActionTest.h"
#include "windows/common/InstallDirValidator.h"

namespace {

using tstrings::toUtf8;
using InstallDirActions = ActionTest;

TEST_F(InstallDirActions, JudgeTheDirectory) {
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

TEST_F(InstallDirActions, AskWhoStartedTheInstaller) {
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

TEST_F(InstallDirActions, RemoveTheTreeNowOrAtTheRestart) {
    volumes.addFile(u"C:\\full\\deep\\used.dll");
    volumes.lock(u"C:\\full\\deep\\used.dll");
    property(u"INSTALLDIR") = u"C:\\full";
    EXPECT_EQ(removeFoldersOnReboot(session), 0u);
    EXPECT_TRUE(logHas(machine, " INSTALLDIR which is passed via command line is C:\\full"));
    machine.restart();
    EXPECT_FALSE(volumes.exists(u"C:\\full"));
}

}  // namespace
