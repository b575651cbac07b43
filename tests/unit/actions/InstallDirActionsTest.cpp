#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/share/tstrings.h"
#include "simulated/machine/Machine.h"
#include "support/LogReader.h"
#include "windows/common/InstallDirValidator.h"
#include "windows/customactions/InstallDirActions.h"

namespace {

using tstrings::toUtf8;
using Lines = std::vector<std::string>;

class InstallDirActions : public testing::Test {
protected:
    InstallDirActions() {
        machine.volumes.addDirectory(u"C:\\empty");
        machine.volumes.addFile(u"C:\\full\\file");
        machine.volumes.addFile(u"C:\\a;b\\file");
        machine.volumes.addFile(u"C:\\file");
        machine.volumes.addDrive(u'N', DRIVE_REMOTE);
        machine.volumes.addDrive(u'R', DRIVE_CDROM);
        machine.volumes.addFile(u"R:\\full\\file");
        machine.volumes.addShare(u"\\\\server\\share");
    }

    void set(const char16_t* name, const std::u16string& value) {
        machine.installer.session(session).properties[name] = value;
    }

    simulated::Machine machine;
    simulated::Running running{machine};
    MSIHANDLE session = machine.installer.openSession();
};

TEST_F(InstallDirActions, JudgeTheDirectory) {
    const struct {
        std::u16string path;
        UINT status;
        const char* complaint;  ///< "PATH" stands for the path; null for no record
    } cases[] = {
        {u"", 610021, "INSTALLDIR PATH path is too short. It is not supported by this product."},
        {u"C", 610021, "INSTALLDIR PATH path is too short. It is not supported by this product."},
        {u"\\", 610021, "INSTALLDIR PATH path is too short. It is not supported by this product."},
        {u"\\\\", 610020, nullptr},
        {u"\\x", 610020, nullptr},
        {u"\\\\server\\share\\a;b", 610020, nullptr},
        {u"\\\\?\\C:\\empty", 610020, nullptr},
        {u"\\\\.\\C:\\empty", 610020, nullptr},
        {u"N:\\x", 610020, nullptr},
        {u"C:\\a;b", 610019,
         "INSTALLDIR path PATH contains a semi-colon. It is not supported by this product."},
        {u"C:\\new;", 610019,
         "INSTALLDIR path PATH contains a semi-colon. It is not supported by this product."},
        {u"C:\\full", 610018, "INSTALLDIR PATH is not empty. It is not supported by this product."},
        {u"c:/FULL/", 610018, "INSTALLDIR PATH is not empty. It is not supported by this product."},
        {u"C:\\full. ", 610018,
         "INSTALLDIR PATH is not empty. It is not supported by this product."},
        {u"C:\\", 610018, "INSTALLDIR PATH is not empty. It is not supported by this product."},
        {u"R:\\full", 610018, "INSTALLDIR PATH is not empty. It is not supported by this product."},
        {u"C:\\PROGRA~1", 610018,
         "INSTALLDIR PATH is not empty. It is not supported by this product."},
        {u"C:\\empty", 0, nullptr},
        {u"C:\\file", 0, nullptr},
        {u"C:\\new\\deep", 0, nullptr},
        {u"C:\\bad|name?*<>", 0, nullptr},
        {u"Q:\\gone", 0, nullptr},
        {u"1:\\x", 0, nullptr},
        {u"xy", 0, nullptr},
        {u"C:\\" + std::u16string(32'000, u'x'), 0, nullptr},
    };
    for (const auto& c : cases) {
        const std::string path = toUtf8(c.path);
        SCOPED_TRACE(path.substr(0, 40));
        set(u"INSTALLDIR", c.path);
        EXPECT_EQ(validateInstallDir(session), c.status);
        const Lines errors = logMessages(machine, "ERROR");
        clearLog(machine);
        if (c.complaint == nullptr) {
            EXPECT_EQ(errors, Lines());
        } else {
            std::string expected = c.complaint;
            expected.replace(expected.find("PATH"), 4, path);
            EXPECT_EQ(errors, Lines{expected});
        }
    }
    set(u"INSTALLDIR", u"C:\\full");
    for (const auto& [type, status] : {std::pair{u"AU", 0u}, {u"au", 0u}, {u"aux", 610018u}}) {
        set(u"INSTALL_TYPE", type);
        EXPECT_EQ(validateInstallDir(session), status);
    }
    EXPECT_EQ(logMessages(machine, "INFO"),
              (Lines(2, "Auto update installation. Do not validate INSTALLDIR")));

    InstalledNorv product;
    product.homeDir = u"c:\\FULL";
    EXPECT_EQ(InstallDirValidator({product}).validate(u"C:\\full"), 0u);
    EXPECT_EQ(InstallDirValidator({product}).validate(u"C:\\full\\"), 610018u);
}

TEST_F(InstallDirActions, LetLocalSystemInstallEnterprisePackagesAlone) {
    const struct {
        bool isLocalSystem;
        const char16_t* enterprise;
        UINT status;
        const char* level;
        const char* record;
    } cases[] = {
        {false, u"", 0, "TRACE", "Original MSI invoker is NOT the LocalSystem User"},
        {true, u"yes", 0, "TRACE", "Enterprise MSI detected, LocalSystem supported"},
        {true, u"", 1627, "ERROR", "LocalSystem is only supported for Enterprise MSI"},
        {true, u"1", 1627, "ERROR", "LocalSystem is only supported for Enterprise MSI"},
    };
    for (const auto& c : cases) {
        if (c.isLocalSystem) {
            machine.security.becomeLocalSystem();
        }
        set(u"ENTERPRISE", c.enterprise);
        EXPECT_EQ(isLocalSystemSupported(session), c.status);
        EXPECT_EQ(logRecords(machine).back().message, c.record);
        EXPECT_EQ(logRecords(machine).back().level, c.level);
    }
    EXPECT_TRUE(machine.handles.open().empty());
}

TEST_F(InstallDirActions, ImpersonateAdministratorsWithARemoteConfiguration) {
    enum class Who { Admin, Filtered, User, LocalSystem };
    const struct {
        const char16_t* configuration;
        Who who;
        bool impersonates;
        const char* record;  ///< the last one
    } cases[] = {
        {u"", Who::Admin, false, "INSTALLCFG is either not set by user, or not set properly"},
        {u"x", Who::Admin, false, "INSTALLCFG is either not set by user, or not set properly"},
        {u"C:\\x.cfg", Who::Admin, false, "INSTALLCFG is not set to a remote drive location"},
        {u"Q:\\x.cfg", Who::Admin, false, "INSTALLCFG is not set to a remote drive location"},
        {u"N:\\x.cfg", Who::User, false, "Original MSI invoker not Admin or LocalSystem user"},
        {u"N:\\x.cfg", Who::Filtered, false, "Original MSI invoker not Admin or LocalSystem user"},
        {u"N:\\x.cfg", Who::LocalSystem, false, "Original MSI invoker is the LocalSystem User"},
        {u"N:\\x.cfg", Who::Admin, true,
         "Original MSI invoker (S-1-5-21-1004336348-1177238915-682003330-1001) is an Admin User, "
         "set IMPERSONATE=1"},
        {u"\\\\server\\share\\x.cfg", Who::Admin, true, nullptr},
    };
    for (const auto& c : cases) {
        machine.security = {};
        if (c.who == Who::Filtered) {
            machine.security.becomeFilteredAdministrator();
        } else if (c.who == Who::User) {
            machine.security.becomeOrdinaryUser();
        } else if (c.who == Who::LocalSystem) {
            machine.security.becomeLocalSystem();
        }
        set(u"INSTALLCFG", c.configuration);
        machine.installer.session(session).properties.erase(u"IMPERSONATE");
        EXPECT_EQ(setImpersonate(session), 0u);
        EXPECT_EQ(machine.installer.property(session, u"IMPERSONATE"), c.impersonates ? u"1" : u"");
        if (c.record != nullptr) {
            EXPECT_EQ(logRecords(machine).back().message, c.record);
        }
    }
    machine.calls.failCall("MsiSetPropertyW", 1);
    EXPECT_EQ(setImpersonate(session), 0u);
}

TEST_F(InstallDirActions, RemoveTheTreeNowOrAtTheRestart) {
    set(u"INSTALLDIR", u"");
    EXPECT_EQ(removeFoldersOnReboot(session), 0u);
    EXPECT_TRUE(logHas(machine, " INSTALLDIR which is passed via command line is "));
    set(u"INSTALLDIR", u"C:\\file");
    EXPECT_EQ(removeFoldersOnReboot(session), 0u);
    EXPECT_TRUE(machine.volumes.exists(u"C:\\file"));

    machine.volumes.addFile(u"C:\\full\\deep\\used.dll");
    machine.volumes.addFile(u"C:\\full\\deep\\free.dll");
    machine.volumes.lock(u"C:\\full\\deep\\used.dll");
    set(u"INSTALLDIR", u"C:\\full");
    EXPECT_EQ(removeFoldersOnReboot(session), 0u);
    EXPECT_EQ(machine.volumes.files(u"C:\\full"),
              std::vector<std::u16string>{u"C:\\full\\deep\\used.dll"});
    machine.restart();
    EXPECT_FALSE(machine.volumes.exists(u"C:\\full"));
}

}  // namespace
