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
    const std::pair<std::u16string, UINT> cases[] = {
        {u"", 610021},      {u"\\", 610021},       {u"\\x", 610020},
        {u"N:\\x", 610020}, {u"C:\\a;b", 610019},  {u"C:\\full", 610018},
        {u"C:\\file", 0},   {u"C:\\new\\deep", 0}, {u"Q:\\gone", 0},
        {u"xy", 0},
    };
    for (const auto& [path, status] : cases) {
        set(u"INSTALLDIR", path);
        EXPECT_EQ(validateInstallDir(session), status) << toUtf8(path);
    }
    EXPECT_EQ(
        logMessages(machine, "ERROR"),
        (std::vector<std::string>{
            "INSTALLDIR  path is too short. It is not supported by this product.",
            "INSTALLDIR \\ path is too short. It is not supported by this product.",
            "INSTALLDIR path C:\\a;b contains a semi-colon. It is not supported by this product.",
            "INSTALLDIR C:\\full is not empty. It is not supported by this product."}));
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
}

TEST_F(InstallDirActions, AskWhoStartedTheInstaller) {
    using Become = void (*)(simulated::Security&);
    const Become admin = [](auto&) {};
    const Become user = [](auto& security) { security.becomeOrdinaryUser(); };
    const Become filtered = [](auto& security) { security.becomeFilteredAdministrator(); };
    const Become system = [](auto& security) { security.becomeLocalSystem(); };
    const struct {
        UINT (*action)(MSIHANDLE);
        Become who;
        const char16_t* value;  ///< of the property that the action reads
        std::string record;     ///< the last one
    } cases[] = {
        {isLocalSystemSupported, admin, u"",
         "TRACE Original MSI invoker is NOT the LocalSystem User"},
        {isLocalSystemSupported, system, u"yes",
         "TRACE Enterprise MSI detected, LocalSystem supported"},
        {isLocalSystemSupported, system, u"1",
         "ERROR LocalSystem is only supported for Enterprise MSI"},
        {setImpersonate, admin, u"x",
         "TRACE INSTALLCFG is either not set by user, or not set properly"},
        {setImpersonate, admin, u"C:\\x.cfg",
         "TRACE INSTALLCFG is not set to a remote drive location"},
        {setImpersonate, admin, u"Q:\\x.cfg",
         "TRACE INSTALLCFG is not set to a remote drive location"},
        {setImpersonate, user, u"N:\\x.cfg",
         "TRACE Original MSI invoker not Admin or LocalSystem user"},
        {setImpersonate, filtered, u"N:\\x.cfg",
         "TRACE Original MSI invoker not Admin or LocalSystem user"},
        {setImpersonate, system, u"N:\\x.cfg",
         "TRACE Original MSI invoker is the LocalSystem User"},
        {setImpersonate, admin, u"N:\\x.cfg",
         "TRACE Original MSI invoker (S-1-5-21-1004336348-1177238915-682003330-1001) is an Admin "
         "User, set IMPERSONATE=1"},
    };
    for (const auto& c : cases) {
        machine.security = {};
        c.who(machine.security);
        set(u"ENTERPRISE", c.value);
        set(u"INSTALLCFG", c.value);
        EXPECT_EQ(c.action(session), c.record.starts_with("ERROR") ? 1627u : 0u);
        const LogRecord record = logRecords(machine).back();
        EXPECT_EQ(record.level + " " + record.message, c.record);
        EXPECT_EQ(machine.installer.property(session, u"IMPERSONATE"),
                  c.record.ends_with("=1") ? u"1" : u"");
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
