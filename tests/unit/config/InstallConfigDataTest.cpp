#include "windows/common/InstallConfigData.h"

#include <gtest/gtest.h>

#include "support/LogReader.h"
#include "unit/config/ConfigMachine.h"

namespace {

constexpr const char* kInstallCfg = "INSTALLCFG=[C:\\cfg\\install.cfg]";

TEST(InstallConfigData, LaterSourcesWin) {
    const struct {
        const char* what;
        const char16_t* arguments;
        const char* runtimeFile;
        const char* installFile;
        std::string expected;
    } cases[] = {
        {"nothing", u"", "", "", ""},
        {"only a program's name", u"setup.exe", "", "", ""},
        {"the runtime file is never silent", u"", "INSTALL_SILENT=Enable\nNOSTARTMENU=1\n", "",
         "NOSTARTMENU=1 CMDLINE=[NOSTARTMENU=\"1\"]"},
        {"defaults are overridden", u"", "STATIC=Enable\nSPONSORS=0", "",
         "STATIC=1 SPONSORS=0 CMDLINE=[STATIC=\"Enable\" SPONSORS=\"0\"]"},
        {"file over file, arguments over both",
         u"setup INSTALLCFG=C:\\cfg\\install.cfg SPONSORPREF=a INSTALL_SILENT=1",
         "NOSTARTMENU=1\nCOUNTRYOVERRIDE=r\nADDLOCAL=r\nSPONSORPREF=r",
         "ADDLOCAL=i\r\nSPONSORPREF:i\r\n# note\r\nINSTALLDIR=C:\\i",
         std::string("INSTALL_SILENT=1 NOSTARTMENU=1 INSTALLDIR=[C:\\i] ") + kInstallCfg +
             " COUNTRYOVERRIDE=[r] SPONSORPREF=[a] ADDLOCAL=[i] CMDLINE=[INSTALL_SILENT=\"1\""
             " NOSTARTMENU=\"1\" INSTALLDIR=\"C:\\i\" INSTALLCFG=\"C:\\cfg\\install.cfg\"]"},
        {"a byte order mark and Japanese", u"x INSTALLCFG=C:\\cfg\\install.cfg", "",
         "\xEF\xBB\xBFinstalldir=C:\\\xE6\x97\xA5\xE6\x9C\xAC\n",
         std::string("INSTALLDIR=[C:\\\xE6\x97\xA5\xE6\x9C\xAC] ") + kInstallCfg +
             " CMDLINE=[INSTALLDIR=\"C:\\\xE6\x97\xA5\xE6\x9C\xAC\""
             " INSTALLCFG=\"C:\\cfg\\install.cfg\"]"},
        {"keys in any case", u"x installdir=C:\\x PRODUCTCODE:{1}", "", "",
         "INSTALLDIR=[C:\\x] ProductCode=[{1}]"
         " CMDLINE=[INSTALLDIR=\"C:\\x\" ProductCode=\"{1}\"]"},
        {"quoted arguments", u"x \"INSTALLDIR=C:\\a b\\\\\" ADDLOCAL=\"p q\"", "", "",
         "INSTALLDIR=[C:\\a b\\] ADDLOCAL=[p q] MSI_CMDLINE=[ADDLOCAL=p q]"
         " CMDLINE=[INSTALLDIR=\"C:\\a b\\\"]"},
        {"arguments for the installer", u"/qn REBOOT=Suppress /l C:\\l.txt REMOVEOLDERQVRS=0 /QB!",
         "", "",
         "REMOVEOLDERQVRS=0 REBOOT=[Suppress]"
         " MSI_CMDLINE=[/qn REBOOT=Suppress REMOVEOLDERQVRS=0 /QB!] /q"},
        {"switches", u"/s -download -no_override", "", "", "/s -download -no_override"},
        {"a level", u"x WEB_NORV_SECURITY_LEVEL=VH /lang=0x409", "", "",
         "CMDLINE=[WEB_NORV_SECURITY_LEVEL=\"VH\"] WEB_NORV_SECURITY_LEVEL /lang"},
        {"CMDLINE of a file stays where nothing is exported", u"", "CMDLINE=x\nMSI_CMDLINE=y", "",
         "MSI_CMDLINE=[y] CMDLINE=[x]"},
        {"and is replaced otherwise", u"x REBOOT=r", "CMDLINE=x\nMSI_CMDLINE=y\nWEB_NORV=1", "",
         "WEB_NORV=1 REBOOT=[r] MSI_CMDLINE=[REBOOT=r] CMDLINE=[WEB_NORV=\"1\"]"},
    };
    for (const auto& c : cases) {
        simulated::Machine machine;
        addConfigFiles(machine, c.runtimeFile, c.installFile);
        const simulated::Running running(machine);
        InstallConfigData config;
        try {
            config.LoadConfigSettings(c.arguments);
        } catch (const std::exception& e) {
            ADD_FAILURE() << c.what << ": " << e.what();
        }
        EXPECT_EQ(stateOf(config), c.expected) << c.what;
        EXPECT_TRUE(logMessages(machine, "ERROR").empty()) << c.what;
    }
}

struct Failure {
    std::uint32_t status;
    std::string param1;
    std::string param2;
    bool operator==(const Failure&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Failure& failure) {
    return out << failure.status << " [" << failure.param1 << "] [" << failure.param2 << "]";
}

Failure load(InstallConfigData& config, const tstring& arguments) {
    try {
        config.LoadConfigSettings(arguments);
        return {};
    } catch (const InstallConfigData::exception& e) {
        return {e.status(), e.param1(), e.param2()};
    }
}

TEST(InstallConfigData, EachFailureTellsItsStatusAndPlace) {
    const std::string path = "C:\\cfg\\install.cfg";
    const tstring withFile = u"x /s INSTALLCFG=C:\\cfg\\install.cfg";
    using Arrange = void (*)(simulated::Machine&);
    const Arrange nothing = [](simulated::Machine&) {};
    const struct {
        const char* what;
        tstring arguments;
        std::string runtimeFile;
        std::string installFile;
        Arrange arrange;
        Failure failure;
        std::string state;  // what is there nevertheless
    } cases[] = {
        {"unknown among good ones",
         u"x bogus STATIC=1 x",
         "",
         "",
         nothing,
         {3090, "\"bogus\";\"x\";", ""},
         "INSTALL_SILENT=0 STATIC=1"},
        {"every kind of bad argument",
         u"STATIC=yes /s=1 INSTALL_SILENT /S installdir=rel WEB_NORV=enable /lang=x"
         u" WEB_NORV_SECURITY_LEVEL=5 /INSTALLDIRPUBQVR=C:\\NUL INSTALLDIR= /q=1 /l",
         "",
         "",
         nothing,
         {3090,
          "\"STATIC=yes\";\"/s=1\";\"INSTALL_SILENT\";\"/S\";\"installdir=rel\";"
          "\"WEB_NORV=enable\";\"/lang=x\";\"WEB_NORV_SECURITY_LEVEL=5\";"
          "\"/INSTALLDIRPUBQVR=C:\\NUL\";\"INSTALLDIR=\";\"/q=1\";\"/l\";",
          ""},
         "INSTALL_SILENT=0"},
        {"a relative file",
         u"x INSTALLCFG=install.cfg",
         "",
         "",
         nothing,
         {3090, "\"INSTALLCFG=install.cfg\";", ""},
         "INSTALL_SILENT=0"},
        {"a line in an argument",
         u"x \"REBOOT=a\nbogus=1\"",
         "",
         "",
         nothing,
         {3090, "\"REBOOT=a\nbogus=1\";", ""},
         "INSTALL_SILENT=0"},
        {"no file", withFile, "", "", nothing, {304, path, ""}, std::string(kInstallCfg) + " /s"},
        {"a locked file",
         withFile,
         "",
         "a",
         [](simulated::Machine& machine) { machine.volumes.lock(kInstallFile); },
         {304, path, ""},
         std::string(kInstallCfg) + " /s"},
        {"a file that may not be read",
         withFile,
         "",
         "a",
         [](simulated::Machine& machine) { machine.volumes.denyRead(kInstallFile); },
         {304, path, ""},
         std::string(kInstallCfg) + " /s"},
        {"a bad line",
         withFile,
         "NOSTARTMENU=1",
         "STATIC=1\r\n\r\nbogus=1\r\nx=",
         nothing,
         {313, path, "3"},
         std::string("NOSTARTMENU=1 ") + kInstallCfg + " /s"},
        {"an unreadable file",
         withFile,
         "",
         "STATIC=1",
         [](simulated::Machine& machine) { machine.calls.failAll("fread"); },
         {307, path, ""},
         std::string(kInstallCfg) + " /s"},
        {"no text",
         withFile,
         "",
         "STATIC=1\nREBOOT=\xFF",
         nothing,
         {314, path, ""},
         std::string(kInstallCfg) + " /s"},
        {"a long file",
         withFile,
         "",
         std::string(0x100000, '#'),
         nothing,
         {315, path, ""},
         std::string(kInstallCfg) + " /s"},
        {"a file above its root",
         u"x INSTALLCFG=C:\\..\\..\\x.cfg",
         "",
         "",
         nothing,
         {311, "C:\\..\\..\\x.cfg", ""},
         "INSTALLCFG=[C:\\..\\..\\x.cfg]"},
        {"a path that can't be converted",
         withFile,
         "",
         "STATIC=1",
         [](simulated::Machine& machine) {
             // The runtime file's path takes four conversions.
             machine.calls.failCall("MultiByteToWideChar", 5);
         },
         {200, path, ""},
         std::string(kInstallCfg) + " /s"},
        {"a bad runtime file",
         u"x STATIC=1",
         "WEB_NORV=1\nbogus=1",
         "",
         nothing,
         {313, kRuntimePath, "2"},
         "INSTALL_SILENT=0 STATIC=1"},
        {"a key without value in the runtime file",
         u"",
         "WEB_ANALYTICS=0\n/s",
         "",
         nothing,
         {313, kRuntimePath, "2"},
         "WEB_ANALYTICS=0 /s"},
        {"a long runtime path",
         u"",
         "",
         "",
         [](simulated::Machine& machine) {
             const std::u16string folder = u"C:\\" + std::u16string(235, u'x');
             machine.volumes.addDirectory(folder);
             machine.shell.setFolder(44, folder);
         },
         {310, "C:\\" + std::string(235, 'x') + "\\Dovrin\\Norv\\norv.settings.cfg", ""},
         "INSTALL_SILENT=0"},
        {"a runtime path above its root",
         u"",
         "",
         "",
         [](simulated::Machine& machine) { machine.shell.setFolder(44, u"C:\\..\\.."); },
         {311, "C:\\..\\..\\Dovrin\\Norv\\norv.settings.cfg", ""},
         "INSTALL_SILENT=0"},
        {"no arguments to be had",
         u"x",
         "",
         "",
         [](simulated::Machine& machine) { machine.calls.failAll("CommandLineToArgvW", 8); },
         {200, "", ""},
         "INSTALL_SILENT=0"},
    };
    for (const auto& c : cases) {
        simulated::Machine machine;
        addConfigFiles(machine, c.runtimeFile, c.installFile);
        c.arrange(machine);
        const simulated::Running running(machine);
        InstallConfigData config;
        EXPECT_EQ(load(config, c.arguments), c.failure) << c.what;
        machine.calls.clearPlans();
        EXPECT_EQ(stateOf(config), c.state) << c.what;
        EXPECT_TRUE(machine.handles.open().empty()) << c.what;
    }
}

TEST(InstallConfigData, ExceptionsReadAsOneSentence) {
    const struct {
        const char* message;
        const char* param1;
        const char* param2;
        const char* expected;
    } cases[] = {{"Bad", "a", "b", "Bad: error 313, param1=\"a\", param2=\"b\""},
                 {"Bad", "", "b", "Bad: error 313, param2=\"b\""},
                 {"", "a", "", "error 313, param1=\"a\""},
                 {"", "", "", "error 313"}};
    for (const auto& c : cases) {
        EXPECT_STREQ(InstallConfigData::exception(c.message, 313, c.param1, c.param2).what(),
                     c.expected);
    }
    simulated::Machine machine;
    const simulated::Running running(machine);
    InstallConfigData config;
    const auto what = [&](const tstring& arguments) -> std::string {
        try {
            config.LoadConfigSettings(arguments);
            return "";
        } catch (const std::exception& e) {
            return e.what();
        }
    };
    const auto expectTail = [](const std::string& text, const std::string& tail) {
        EXPECT_TRUE(text.starts_with("InstallConfigData.cpp(") && text.ends_with(tail)) << text;
    };
    expectTail(what(_T("x bogus")),
               ") at InstallConfigData::ImportArgsConfigSettings(): Malformed params: error 3090, "
               "param1=\"\"bogus\";\"");
    expectTail(what(_T("x INSTALLCFG=C:\\none")),
               ") at InstallConfigData::verifyResultCode(): Install Configuration file import "
               "failed: error 304, param1=\"C:\\none\"");
    addConfigFiles(machine, "x", "");
    InstallConfigData other;
    machine.calls.failAll("CommandLineToArgvW", 8);
    EXPECT_NE(what(_T("x")).find(") at InstallConfigData::LoadConfigSettings(): "
                                 "CommandLineToArgvW failed. System error [8]"),
              std::string::npos);
}

TEST(InstallConfigData, TheLogTellsOfEachSource) {
    simulated::Machine machine;
    addConfigFiles(machine, "STATIC=1\nWEB_NORV=Enable", "");
    const simulated::Running running(machine);
    InstallConfigData config;
    config.LoadConfigSettings(_T("x /s /l C:\\log.txt REBOOT=r"));
    EXPECT_EQ(config.logFileArgument(), _T("C:\\log.txt"));
    EXPECT_FALSE(config.IsInstallerEnterprise());
    const std::string end = "|-------------------------------------|\n";
    EXPECT_EQ(
        logMessages(machine, "INFO"),
        (std::vector<std::string>{
            "Default config settings are: \nINSTALL_SILENT=Disable\nSTATIC=Disable\n"
            "AUTO_UPDATE=Enable\nWEB_ANALYTICS=Enable\nSPONSORS=Enable\nOEMUPDATE=Disable\n",
            "...adding MSICMDLINE to settingsConfig",
            std::string("Runtime config file path is ") + kRuntimePath,
            "...adding MSICMDLINE to settingsConfig",
            std::string("Runtime config file path is ") + kRuntimePath,
            "|------Config to backup--------|\n\nSTATIC = 1\nWEB_NORV = Enable\n" + end,
            std::string("Runtime config file path is ") + kRuntimePath,
            "...adding MSICMDLINE to settingsConfig",
            "|------!!!!Working config!!!!--------|\n\nSTATIC = 1\nAUTO_UPDATE = Enable\n"
            "SPONSORS = Enable\nWEB_NORV = Enable\nWEB_ANALYTICS = Enable\nOEMUPDATE = Disable\n"
            "REBOOT = r\nMSI_CMDLINE = REBOOT=r\nCMDLINE = STATIC=\"1\" WEB_NORV=\"Enable\"\n"
            "/s = 1\n" +
                end,
            "IsInstallerEnterprise is 0"}));
    EXPECT_TRUE(logHas(machine, "-->Loading Important args..."));
    EXPECT_TRUE(logHas(machine, "...Importing runtime configuration file..."));
    EXPECT_TRUE(logHas(machine, "Entering InstallConfigData::ImportArgsConfigSettings"));
    EXPECT_TRUE(logHas(machine, "-->Adding CMDLINE to config..."));
}

TEST(InstallConfigData, RefusedArgumentsAreLogged) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    InstallConfigData config;
    EXPECT_EQ(load(config, u"bogus bogus STATIC=x /S /l").status, 3090u);
    EXPECT_EQ(logMessages(machine, "ERROR"),
              (std::vector<std::string>{"arg bogus is not supported",
                                        "Loading arg STATIC=x failed with 313",
                                        "Loading arg /S failed with 0", "arg /l is incorrect"}));
}

TEST(InstallConfigData, ReadersNeedTheirKey) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    InstallConfigData config;
    config.LoadConfigSettings(_T("x ProductCode={1}"));
    EXPECT_EQ(config.productCode(), _T("{1}"));
    EXPECT_EQ(config.getInstallDirectory(_T("other")), _T("other"));
    EXPECT_FALSE(config.isParamEnabled(FlagParam::NoStartMenu));
    const auto status = [](auto read) -> settings::Status {
        try {
            read();
            return 0;
        } catch (const settings::Exception& e) {
            return e.code();
        }
    };
    EXPECT_EQ(status([&] { config.readFlag(FlagParam::NoStartMenu); }), 303u);
    EXPECT_EQ(status([&] { config.getStringParam(StringParam::InstallDir); }), 303u);
    machine.calls.failAll("SHGetFolderPathW");
    EXPECT_EQ(status([] { InstallConfigData(); }), 200u);
}

TEST(InstallConfigData, FlaggedKeysAreChecked) {
    simulated::Machine machine;
    machine.volumes.addFile(kInstallFile, "x");
    const simulated::Running running(machine);
    const InstallConfigData config;
    ParamDescriptor key = {"KEY", false, false, false, true, true, false};
    const auto check = [&](const char* value) -> Failure {
        try {
            config.CheckParam(key, value);
            return {};
        } catch (const InstallConfigData::exception& e) {
            return {e.status(), e.param1(), e.param2()};
        }
    };
    EXPECT_EQ(check("C:\\cfg\\install.cfg"), Failure());
    EXPECT_TRUE(logHas(machine, "Checking if file is a plain text..."));
    EXPECT_EQ(check("C:\\cfg\\none"), (Failure{307, "", "KEY"}));
    key.enterpriseOnly = true;
    EXPECT_EQ(check("C:\\cfg\\install.cfg"), (Failure{3090, "KEY", ""}));
    EXPECT_TRUE(machine.handles.open().empty());
}

}  // namespace
