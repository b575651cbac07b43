#include "windows/customactions/InstallDirActions.h"

#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "windows/common/InstallDirValidator.h"

namespace {

using tstrings::toUtf8;

class InstallDirActions : public OnMachine {
protected:
    InstallDirActions() {
        machine.volumes.addDirectory(u"C:\\empty");
        for (const TCHAR* file : {u"C:\\full\\file", u"C:\\a;b\\file", u"C:\\file"}) {
            machine.volumes.addFile(file);
        }
        machine.volumes.addDrive(u'N', DRIVE_REMOTE);
    }
    void set(const char16_t* name, const std::u16string& value) {
        machine.installer.session(session).properties[name] = value;
    }
    MSIHANDLE session = machine.installer.openSession();
};

TEST_F(InstallDirActions, JudgeTheDirectory) {
    const std::map<UINT, std::string> complaints = {
        {610021, "INSTALLDIR PATH path is too short. It is not supported by this product."},
        {610019,
         "INSTALLDIR path PATH contains a semi-colon. It is not supported by this product."},
        {610018, "INSTALLDIR PATH is not empty. It is not supported by this product."}};
    const std::pair<std::u16string, UINT> cases[] = {
        {u"", 610021},
        {u"\\", 610021},
        {u"\\x", 610020},
        {u"N:\\x", 610020},
        {u"\\\\s\\s\\a;b", 610020},
        {u"C:\\a;b", 610019},
        {u"C:\\new;", 610019},
        {u"C:\\full", 610018},
        {u"c:/FULL/", 610018},
        {u"C:\\empty", 0},
        {u"C:\\file", 0},
        {u"C:\\new\\deep", 0},
        {u"Q:\\gone", 0},
        {u"xy", 0},
    };
    for (const auto& [path, status] : cases) {
        set(u"INSTALLDIR", path);
        EXPECT_EQ(validateInstallDir(session), status) << toUtf8(path);
        std::vector<std::string> expected;
        if (const auto complaint = complaints.find(status); complaint != complaints.end()) {
            expected = {complaint->second};
            expected[0].replace(expected[0].find("PATH"), 4, toUtf8(path));
        }
        EXPECT_EQ(logMessages(machine, "ERROR"), expected);
        clearLog(machine);
    }
    set(u"INSTALLDIR", u"C:\\full");
    for (const auto& [type, status] : {std::pair{u"AU", 0u}, {u"aux", 610018u}}) {
        set(u"INSTALL_TYPE", type);
        EXPECT_EQ(validateInstallDir(session), status);
    }
    EXPECT_EQ(logMessages(machine, "INFO"),
              std::vector<std::string>{"Auto update installation. Do not validate INSTALLDIR"});
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
        const char* record;
    } cases[] = {
        {false, u"", 0, "TRACE Original MSI invoker is NOT the LocalSystem User"},
        {true, u"yes", 0, "TRACE Enterprise MSI detected, LocalSystem supported"},
        {true, u"1", 1627, "ERROR LocalSystem is only supported for Enterprise MSI"},
    };
    for (const auto& c : cases) {
        if (c.isLocalSystem) {
            machine.security.becomeLocalSystem();
        }
        set(u"ENTERPRISE", c.enterprise);
        EXPECT_EQ(isLocalSystemSupported(session), c.status);
        const LogRecord record = logRecords(machine).back();
        EXPECT_EQ(record.level + " " + record.message, c.record);
    }
}

TEST_F(InstallDirActions, ImpersonateAdministratorsWithARemoteConfiguration) {
    using Become = void (*)(simulated::Security&);
    const Become admin = [](auto&) {};
    const struct {
        const char16_t* configuration;
        Become who;
        const char* record;  ///< the last one
    } cases[] = {
        {u"x", admin, "INSTALLCFG is either not set by user, or not set properly"},
        {u"C:\\x.cfg", admin, "INSTALLCFG is not set to a remote drive location"},
        {u"Q:\\x.cfg", admin, "INSTALLCFG is not set to a remote drive location"},
        {u"N:\\x.cfg", [](auto& security) { security.becomeOrdinaryUser(); },
         "Original MSI invoker not Admin or LocalSystem user"},
        {u"N:\\x.cfg", [](auto& security) { security.becomeFilteredAdministrator(); },
         "Original MSI invoker not Admin or LocalSystem user"},
        {u"N:\\x.cfg", [](auto& security) { security.becomeLocalSystem(); },
         "Original MSI invoker is the LocalSystem User"},
        {u"N:\\x.cfg", admin,
         "Original MSI invoker (S-1-5-21-1004336348-1177238915-682003330-1001) is an Admin User, "
         "set IMPERSONATE=1"},
    };
    for (const auto& c : cases) {
        machine.security = {};
        c.who(machine.security);
        set(u"INSTALLCFG", c.configuration);
        EXPECT_EQ(setImpersonate(session), 0u);
        EXPECT_EQ(logRecords(machine).back().message, c.record);
        EXPECT_EQ(machine.installer.property(session, u"IMPERSONATE"),
                  std::string(c.record).ends_with("=1") ? u"1" : u"");
    }
}

TEST_F(InstallDirActions, RemoveTheTreeNowOrAtTheRestart) {
    machine.volumes.addFile(u"C:\\full\\deep\\used.dll");
    machine.volumes.lock(u"C:\\full\\deep\\used.dll");
    set(u"INSTALLDIR", u"C:\\full");
    EXPECT_EQ(removeFoldersOnReboot(session), 0u);
    EXPECT_EQ(logRecords(machine)[0].message,
              " INSTALLDIR which is passed via command line is C:\\full");
    EXPECT_EQ(machine.volumes.files(u"C:\\full").size(), 1u);
    machine.restart();
    EXPECT_FALSE(machine.volumes.exists(u"C:\\full"));
}

}  // namespace
