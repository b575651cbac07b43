#include "windows/customactions/InstallDirActions.h"

#include "unit/windows/customactions/ActionTest.h"
#include "windows/common/InstallDirValidator.h"

namespace {

using simulated::Security;
using InstallDirActions = ActionTest;
using Messages = std::vector<std::string>;

TEST_F(InstallDirActions, RefuseSomeDirectories) {
    const struct {
        const char* name;
        tstring directory;
        UINT status = 0;
        Messages errors = {};
    } cases[] = {
        {.name = "no directory",
         .directory = u"",
         .status = 610021,
         .errors = {"INSTALLDIR  path is too short. It is not supported by this product."}},
        {.name = "too short",
         .directory = u"\\",
         .status = 610021,
         .errors = {"INSTALLDIR \\ path is too short. It is not supported by this product."}},
        {.name = "on no drive", .directory = u"\\x", .status = 610020},
        {.name = "on a remote drive", .directory = u"N:\\x", .status = 610020},
        {.name = "with a semicolon",
         .directory = u"C:\\a;b",
         .status = 610019,
         .errors = {"INSTALLDIR path C:\\a;b contains a semi-colon. It is not supported by this "
                    "product."}},
        {.name = "not empty",
         .directory = u"C:\\full",
         .status = 610018,
         .errors = {"INSTALLDIR C:\\full is not empty. It is not supported by this product."}},
        {.name = "a file", .directory = u"C:\\full\\file"},
        {.name = "relative", .directory = u"xy"},
        {.name = "on a drive that doesn't exist", .directory = u"Q:\\gone"},
    };
    volumes.addFile(u"C:\\full\\file");
    volumes.addFile(u"C:\\a;b\\file");
    volumes.addDrive(u'N', DRIVE_REMOTE);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        clearLog(machine);
        property(u"INSTALLDIR") = c.directory;
        EXPECT_EQ(validateInstallDir(session), c.status);
        EXPECT_EQ(logMessages(machine, "ERROR"), c.errors);
    }
}

TEST_F(InstallDirActions, TakeAnyDirectoryForTheAutoUpdater) {
    volumes.addFile(u"C:\\full\\file");
    property(u"INSTALLDIR") = u"C:\\full";
    property(u"INSTALL_TYPE") = u"AU";
    EXPECT_EQ(validateInstallDir(session), 0u);
    EXPECT_EQ(logMessages(machine, "INFO"),
              Messages{"Auto update installation. Do not validate INSTALLDIR"});
    property(u"INSTALL_TYPE") = u"aux";
    EXPECT_EQ(validateInstallDir(session), 610018u);
}

TEST_F(InstallDirActions, TakeTheHomeOfAnInstalledProduct) {
    volumes.addFile(u"C:\\full\\file");
    InstalledNorv product;
    product.homeDir = u"c:\\FULL";
    EXPECT_EQ(InstallDirValidator({product}).validate(u"C:\\full"), 0u);
}

TEST_F(InstallDirActions, RefuseLocalSystemExceptForEnterprises) {
    EXPECT_EQ(isLocalSystemSupported(session), 0u);
    EXPECT_EQ(logRecords(machine).back().message,
              "Original MSI invoker is NOT the LocalSystem User");
    machine.security.becomeLocalSystem();
    property(u"ENTERPRISE") = u"yes";
    EXPECT_EQ(isLocalSystemSupported(session), 0u);
    EXPECT_EQ(logRecords(machine).back().message, "Enterprise MSI detected, LocalSystem supported");
    property(u"ENTERPRISE") = u"1";
    EXPECT_EQ(isLocalSystemSupported(session), 1627u);
    EXPECT_EQ(logMessages(machine, "ERROR"),
              Messages{"LocalSystem is only supported for Enterprise MSI"});
}

TEST_F(InstallDirActions, ImpersonateAnAdministratorWithARemoteConfiguration) {
    volumes.addDrive(u'N', DRIVE_REMOTE);
    const struct {
        const char* name;
        void (Security::*become)() = nullptr;  ///< an elevated administrator without it
        tstring configuration = u"N:\\x.cfg";
        std::string record;
        tstring impersonate = {};
    } cases[] = {
        {.name = "no path",
         .configuration = u"x",
         .record = "INSTALLCFG is either not set by user, or not set properly"},
        {.name = "a local drive",
         .configuration = u"C:\\x.cfg",
         .record = "INSTALLCFG is not set to a remote drive location"},
        {.name = "a drive that doesn't exist",
         .configuration = u"Q:\\x.cfg",
         .record = "INSTALLCFG is not set to a remote drive location"},
        {.name = "an ordinary user",
         .become = &Security::becomeOrdinaryUser,
         .record = "Original MSI invoker not Admin or LocalSystem user"},
        {.name = "an administrator who isn't elevated",
         .become = &Security::becomeFilteredAdministrator,
         .record = "Original MSI invoker not Admin or LocalSystem user"},
        {.name = "LocalSystem",
         .become = &Security::becomeLocalSystem,
         .record = "Original MSI invoker is the LocalSystem User"},
        {.name = "an elevated administrator",
         .record = "Original MSI invoker (S-1-5-21-1004336348-1177238915-682003330-1001) is an "
                   "Admin User, set IMPERSONATE=1",
         .impersonate = u"1"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        machine.security = {};
        if (c.become != nullptr) {
            (machine.security.*c.become)();
        }
        property(u"INSTALLCFG") = c.configuration;
        EXPECT_EQ(setImpersonate(session), 0u);
        EXPECT_EQ(logMessages(machine, "TRACE").back(), c.record);
        EXPECT_EQ(property(u"IMPERSONATE"), c.impersonate);
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
