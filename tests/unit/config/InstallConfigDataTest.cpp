#include "windows/common/InstallConfigData.h"

#include <gtest/gtest.h>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Thrown.h"
#include "unit/config/ConfigMachine.h"

namespace {

const std::string kInstallPath = "C:\\cfg\\install.cfg";
const std::string kInstallCfg = "INSTALLCFG=[C:\\cfg\\install.cfg]";
const tstring kWithFile = u"x /s INSTALLCFG=C:\\cfg\\install.cfg";

TEST(InstallConfigParams, ArgumentsFindTheirKey) {
    const std::vector<ParamDescriptor> params = makeParamTable();
    // The argument and its key, which is empty for none.
    const std::pair<const char*, const char*> cases[] = {{"installdir=", "INSTALLDIR"},
                                                         {"InstallDir:x=y", "INSTALLDIR"},
                                                         {"INSTALLDIR =x", ""},
                                                         {"/S", "/s"},
                                                         {"/silent", ""},
                                                         {"/L*v", "/l"},
                                                         {"/lang", "/l"},
                                                         {"/lang=1033", "/lang"},
                                                         {"-DOWNLOAD", "-download"},
                                                         {"=x", ""},
                                                         {"C:\\setup.exe", ""}};
    for (const auto& [argument, key] : cases) {
        const ParamDescriptor* found = findParam(params, argument);
        EXPECT_STREQ(found ? found->name : "", key) << argument;
    }
}

TEST(InstallConfigData, LaterSourcesWin) {
    const struct {
        const char16_t* arguments;
        const char* runtimeFile;
        const char* installFile;
        std::string expected;
    } cases[] = {
        {u"setup.exe", "", "", ""},
        // The runtime file is never silent; defaults are overridden.
        {u"", "INSTALL_SILENT=Enable\nNOSTARTMENU=1\nSPONSORS=0", "",
         "SPONSORS=0 NOSTARTMENU=1 CMDLINE=[SPONSORS=\"0\" NOSTARTMENU=\"1\"]"},
        // File over file, arguments over both.
        {u"setup INSTALLCFG=C:\\cfg\\install.cfg SPONSORPREF=a INSTALL_SILENT=1",
         "NOSTARTMENU=1\nCOUNTRYOVERRIDE=r\nADDLOCAL=r\nSPONSORPREF=r",
         "\xEF\xBB\xBF"
         "ADDLOCAL=i\r\nSPONSORPREF:i\r\n# note\r\ninstalldir=C:\\\xE6\x97\xA5",
         "INSTALL_SILENT=1 NOSTARTMENU=1 INSTALLDIR=[C:\\\xE6\x97\xA5] " + kInstallCfg +
             " COUNTRYOVERRIDE=[r] SPONSORPREF=[a] ADDLOCAL=[i] CMDLINE=[INSTALL_SILENT=\"1\""
             " NOSTARTMENU=\"1\" INSTALLDIR=\"C:\\\xE6\x97\xA5\""
             " INSTALLCFG=\"C:\\cfg\\install.cfg\"]"},
        {u"x \"INSTALLDIR=C:\\a b\\\\\" \"\" ADDLOCAL=\"p q\"", "", "",
         "INSTALLDIR=[C:\\a b\\] ADDLOCAL=[p q] MSI_CMDLINE=[ADDLOCAL=p q]"
         " CMDLINE=[INSTALLDIR=\"C:\\a b\\\"]"},
        {u"/qn REBOOT=Suppress /l C:\\l.txt REMOVEOLDERQVRS=0 /QB!", "", "",
         "REMOVEOLDERQVRS=0 REBOOT=[Suppress]"
         " MSI_CMDLINE=[/qn REBOOT=Suppress REMOVEOLDERQVRS=0 /QB!] /q"},
        // What a file says of the two stays where there is nothing else to say.
        {u"", "CMDLINE=x\nMSI_CMDLINE=y", "", "MSI_CMDLINE=[y] CMDLINE=[x]"},
        {u"x REBOOT=r", "CMDLINE=x\nMSI_CMDLINE=y\nWEB_NORV=1", "",
         "WEB_NORV=1 REBOOT=[r] MSI_CMDLINE=[REBOOT=r] CMDLINE=[WEB_NORV=\"1\"]"},
    };
    for (const auto& c : cases) {
        simulated::Machine machine;
        addConfigFiles(machine, c.runtimeFile, c.installFile);
        const simulated::Running running(machine);
        InstallConfigData config;
        EXPECT_EQ(thrownText([&] { config.LoadConfigSettings(c.arguments); }), "nothing");
        EXPECT_EQ(stateOf(config), c.expected);
        EXPECT_TRUE(logMessages(machine, "ERROR").empty());
    }
}

TEST(InstallConfigData, HandsOnWhatTheTableSays) {
    simulated::Machine machine;
    addConfigFiles(machine, "", "# nothing");
    const simulated::Running running(machine);
    InstallConfigData config;
    config.LoadConfigSettings(
        _T("x INSTALL_SILENT=1 STATIC=1 AUTO_UPDATE=0 SPONSORS=0 WEB_NORV=1 WEB_ANALYTICS=0 ")
        _T("OEMUPDATE=1 DYNAMICBASELINEOFF=1 NO_VERIFY=1 REPAIRMODE=1 LAUNCHEDFROMQVK=1 ")
        _T("REMOVEOUTOFDATEQVRS=1 REMOVEOLDERQVRS=1 NOSTARTMENU=1 RETAIN_DQX_FILES=1 ")
        _T("INSTALLDIR=C:\\x /INSTALLDIRPUBQVR=C:\\y INSTALLCFG=C:\\cfg\\install.cfg ")
        _T("ProductCode=p BASEIMAGECHECKSUMSHA256=b COUNTRYOVERRIDE=c /installurl=u ")
        _T("/installmethod=m SPONSORPREF=s ADDLOCAL=a REBOOT=r MSI_CMDLINE=i CMDLINE=j ")
        _T("WEB_NORV_SECURITY_LEVEL=VH /lang=1 TEST_CONFIG_FILE_ERRORS=2 /s /h -download ")
        _T("-no_override /qn"));
    EXPECT_STREQ(
        config.getStringParam(StringParam::CmdLine),
        "INSTALL_SILENT=\"1\" STATIC=\"1\" AUTO_UPDATE=\"0\" SPONSORS=\"0\" WEB_NORV=\"1\" "
        "WEB_ANALYTICS=\"0\" OEMUPDATE=\"1\" REPAIRMODE=\"1\" NOSTARTMENU=\"1\" "
        "INSTALLDIR=\"C:\\x\" /INSTALLDIRPUBQVR=\"C:\\y\" INSTALLCFG=\"C:\\cfg\\install.cfg\" "
        "ProductCode=\"p\" BASEIMAGECHECKSUMSHA256=\"b\" WEB_NORV_SECURITY_LEVEL=\"VH\"");
    EXPECT_STREQ(config.getStringParam(StringParam::MsiCmdLine),
                 "REMOVEOLDERQVRS=1 ADDLOCAL=a REBOOT=r /qn");
}

TEST(InstallConfigData, EachFailureTellsItsStatusAndPlace) {
    using Arrange = void (*)(simulated::Machine&);
    const Arrange nothing = [](simulated::Machine&) {};
    const Arrange unread = [](simulated::Machine& machine) { machine.calls.failAll("fread"); };
    const Arrange longFolder = [](simulated::Machine& machine) {
        const std::u16string folder = u"C:\\" + std::u16string(235, u'x');
        machine.volumes.addDirectory(folder);
        machine.shell.setFolder(44, folder);
    };
    const Arrange noArguments = [](simulated::Machine& machine) {
        machine.calls.failAll("CommandLineToArgvW", 8);
    };
    const std::string file = "[" + kInstallPath + "]";
    const std::string runtime = std::string("[") + kRuntimePath + "]";
    const std::string withFile = kInstallCfg + " /s";
    const struct {
        tstring arguments;
        std::string runtimeFile, installFile;
        Arrange arrange;
        std::string failure;  ///< status, [file or arguments], [line]
        std::string state;    ///< what is there nevertheless
    } cases[] = {
        {u"x bogus STATIC=1 x", "", "", nothing, "3090 [\"bogus\";\"x\";] []",
         "INSTALL_SILENT=0 STATIC=1"},
        {u"STATIC=yes /s=1 INSTALL_SILENT /S installdir=rel WEB_NORV=enable /lang=x /q=1 "
         u"WEB_NORV_SECURITY_LEVEL=5 INSTALLDIR= INSTALLCFG=install.cfg \"REBOOT=a\nbogus=1\" /l",
         "", "", nothing,
         "3090 [\"STATIC=yes\";\"/s=1\";\"INSTALL_SILENT\";\"/S\";\"installdir=rel\";"
         "\"WEB_NORV=enable\";\"/lang=x\";\"/q=1\";\"WEB_NORV_SECURITY_LEVEL=5\";\"INSTALLDIR=\";"
         "\"INSTALLCFG=install.cfg\";\"REBOOT=a\nbogus=1\";\"/l\";] []",
         "INSTALL_SILENT=0"},
        {kWithFile, "", "", nothing, "304 " + file + " []", withFile},
        {kWithFile, "NOSTARTMENU=1", "STATIC=1\r\n\r\nbogus=1\r\nx=", nothing,
         "313 " + file + " [3]", "NOSTARTMENU=1 " + withFile},
        {kWithFile, "", "STATIC=1", unread, "307 " + file + " []", withFile},
        {u"x INSTALLCFG=C:\\..\\..\\x.cfg", "", "", nothing, "311 [C:\\..\\..\\x.cfg] []",
         "INSTALLCFG=[C:\\..\\..\\x.cfg]"},
        {u"x STATIC=1", "WEB_NORV=1\nbogus=1", "", nothing, "313 " + runtime + " [2]",
         "INSTALL_SILENT=0 STATIC=1"},
        {u"", "STATIC=1", "", unread, "307 " + runtime + " []", "INSTALL_SILENT=0"},
        {u"", "REBOOT=\xFF", "", nothing, "314 " + runtime + " []", "INSTALL_SILENT=0"},
        {u"", "", "", longFolder,
         "310 [C:\\" + std::string(235, 'x') + "\\Dovrin\\Norv\\norv.settings.cfg] []",
         "INSTALL_SILENT=0"},
        {u"x", "", "", noArguments, "200 [] []", "INSTALL_SILENT=0"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.failure);
        simulated::Machine machine;
        addConfigFiles(machine, c.runtimeFile, c.installFile);
        c.arrange(machine);
        const simulated::Running running(machine);
        InstallConfigData config;
        EXPECT_EQ(failureOf([&] { config.LoadConfigSettings(c.arguments); }), c.failure);
        machine.calls.clearPlans();
        EXPECT_EQ(stateOf(config), c.state);
        EXPECT_TRUE(machine.handles.open().empty());
    }
}

TEST(InstallConfigData, TheLogTellsOfSourcesAndRefusals) {
    simulated::Machine machine;
    addConfigFiles(machine, "STATIC=1\nWEB_NORV=Enable", "");
    const simulated::Running running(machine);
    InstallConfigData config;
    config.LoadConfigSettings(_T("x /s /l C:\\log.txt REBOOT=r"));
    EXPECT_EQ(config.logFileArgument(), _T("C:\\log.txt"));
    const std::string end = "|-------------------------------------|\n";
    const std::string path = std::string("Runtime config file path is ") + kRuntimePath;
    const std::string adding = "...adding MSICMDLINE to settingsConfig";
    EXPECT_EQ(
        logMessages(machine, "INFO"),
        (std::vector<std::string>{
            "Default config settings are: \nINSTALL_SILENT=Disable\nSTATIC=Disable\n"
            "AUTO_UPDATE=Enable\nWEB_ANALYTICS=Enable\nSPONSORS=Enable\nOEMUPDATE=Disable\n",
            adding, path, adding, path,
            "|------Config to backup--------|\n\nSTATIC = 1\nWEB_NORV = Enable\n" + end, path,
            adding,
            "|------!!!!Working config!!!!--------|\n\nSTATIC = 1\nAUTO_UPDATE = Enable\n"
            "SPONSORS = Enable\nWEB_NORV = Enable\nWEB_ANALYTICS = Enable\nOEMUPDATE = Disable\n"
            "REBOOT = r\nMSI_CMDLINE = REBOOT=r\nCMDLINE = STATIC=\"1\" WEB_NORV=\"Enable\"\n"
            "/s = 1\n" +
                end}));
    EXPECT_TRUE(logHas(machine, "-->Adding CMDLINE to config..."));
    InstallConfigData other;
    EXPECT_EQ(thrownText([&] { other.LoadConfigSettings(u"bogus bogus STATIC=x /S /l"); }),
              "Malformed params: error 3090, param1=\"\"bogus\";\"STATIC=x\";\"/S\";\"/l\";\"");
    EXPECT_EQ(logMessages(machine, "ERROR"),
              (std::vector<std::string>{"arg bogus is not supported",
                                        "Loading arg STATIC=x failed with 313",
                                        "Loading arg /S failed with 0", "arg /l is incorrect"}));
}

TEST(InstallConfigData, ReadersNeedTheirKeyAndFlaggedKeysAreChecked) {
    simulated::Machine machine;
    machine.volumes.addFile(kInstallFile, "x");
    const simulated::Running running(machine);
    InstallConfigData config;
    config.LoadConfigSettings(_T("x ProductCode={1}"));
    EXPECT_EQ(config.productCode(), _T("{1}"));
    EXPECT_FALSE(config.isParamEnabled(FlagParam::NoStartMenu));
    EXPECT_THROW(config.readFlag(FlagParam::NoStartMenu), settings::Exception);
    EXPECT_THROW(config.getStringParam(StringParam::InstallDir), settings::Exception);
    ParamDescriptor key = {"KEY", false, false, false, true, true, false};
    const auto check = [&](const std::string& value) {
        return failureOf([&] { config.CheckParam(key, value); });
    };
    EXPECT_EQ(check(kInstallPath), "none");
    EXPECT_EQ(check("C:\\cfg\\none"), "307 [] [KEY]");
    key.enterpriseOnly = true;
    EXPECT_EQ(check(kInstallPath), "3090 [KEY] []");
    EXPECT_TRUE(machine.handles.open().empty());
}

}  // namespace
