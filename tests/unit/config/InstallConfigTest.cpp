// What the sources of an install configuration make together, what the installer gets of it, and
// how a bad one is told.
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Thrown.h"
#include "windows/common/InstallConfigData.h"
#include "windows/customactions/ConfigAction.h"

namespace {

using Texts = std::vector<std::string>;

const std::string kInstallPath = "C:\\cfg\\install.cfg";
const std::string kRuntimePath =
    "C:\\Program Files (x86)\\Common Files\\Dovrin\\Norv\\norv.settings.cfg";
const tstring kWithFile = u"x /s INSTALLCFG=C:\\cfg\\install.cfg";

/// A running machine with those configuration files that aren't empty.
struct Configured : simulated::Machine {
    explicit Configured(const std::string& runtimeFile, const std::string& installFile = "") {
        for (const auto& [path, content] :
             {std::pair(kRuntimePath, runtimeFile), std::pair(kInstallPath, installFile)}) {
            if (!content.empty()) {
                volumes.addFile(tstrings::fromUtf8(path), content);
            }
        }
    }
    simulated::Running running{*this};
};

/// The loaded configuration as the log tells it, without what is as by default.
std::string workingConfig(const simulated::Machine& machine) {
    static const std::regex known(
        "[|]------!!!!Working config!!!!--------[|]\n\n|[|]-+[|]\n$|(STATIC|OEMUPDATE) = Disable\n|"
        "(AUTO_UPDATE|SPONSORS|WEB_ANALYTICS) = Enable\n");
    return std::regex_replace(logMessages(machine, "INFO").back(), known, "");
}

TEST(InstallConfig, LaterSourcesWin) {
    // Arguments, runtime file, install file, and what comes of them.
    const std::tuple<tstring, std::string, std::string, std::string> cases[] = {
        {u"setup.exe", "", "", ""},
        // The runtime file is never silent; defaults are overridden.
        {u"", "INSTALL_SILENT=Enable\nNOSTARTMENU=1\nSPONSORS=0", "",
         "SPONSORS = 0\nNOSTARTMENU = 1\nCMDLINE = SPONSORS=\"0\" NOSTARTMENU=\"1\"\n"},
        // File over file, arguments over both.
        {u"setup INSTALLCFG=C:\\cfg\\install.cfg SponsorPref:x=y INSTALL_SILENT=1",
         "NOSTARTMENU=1\nCOUNTRYOVERRIDE=r\nADDLOCAL=r\nSPONSORPREF=r",
         "\xEF\xBB\xBF"
         "ADDLOCAL=i\r\nSPONSORPREF:i\r\n# note\r\ninstalldir=C:\\日",
         "INSTALL_SILENT = 1\nNOSTARTMENU = 1\nINSTALLDIR = C:\\日\n"
         "INSTALLCFG = C:\\cfg\\install.cfg\nCOUNTRYOVERRIDE = r\nSPONSORPREF = x=y\n"
         "ADDLOCAL = i\nCMDLINE = INSTALL_SILENT=\"1\" NOSTARTMENU=\"1\" INSTALLDIR=\"C:\\日\""
         " INSTALLCFG=\"C:\\cfg\\install.cfg\"\n"},
        {u"x \"INSTALLDIR=C:\\a b\\\\\" \"\" ADDLOCAL=\"p q\"", "", "",
         "INSTALLDIR = C:\\a b\\\nADDLOCAL = p q\nMSI_CMDLINE = ADDLOCAL=p q\n"
         "CMDLINE = INSTALLDIR=\"C:\\a b\\\"\n"},
        {u"/qn REBOOT=Suppress /L*v C:\\l.txt /lang /none REMOVEOLDERQVRS=0 /LANG=7 /QB!", "", "",
         "REMOVEOLDERQVRS = 0\nREBOOT = Suppress\n"
         "MSI_CMDLINE = /qn REBOOT=Suppress REMOVEOLDERQVRS=0 /QB!\n/lang = 7\n/q = 1\n"},
        // What a file says of the two stays where there is nothing else to say.
        {u"", "CMDLINE=x\nMSI_CMDLINE=y", "", "MSI_CMDLINE = y\nCMDLINE = x\n"},
        {u"x REBOOT=r", "CMDLINE=x\nMSI_CMDLINE=y\nWEB_NORV=1", "",
         "WEB_NORV = 1\nREBOOT = r\nMSI_CMDLINE = REBOOT=r\nCMDLINE = WEB_NORV=\"1\"\n"},
    };
    for (const auto& [arguments, runtimeFile, installFile, expected] : cases) {
        const Configured machine(runtimeFile, installFile);
        InstallConfigData config;
        EXPECT_EQ(thrownText([&] { config.LoadConfigSettings(arguments); }), "nothing");
        EXPECT_EQ(workingConfig(machine), expected);
        EXPECT_EQ(logMessages(machine, "ERROR"), Texts());
    }
}

TEST(InstallConfig, HandsOnWhatTheTableSays) {
    const Configured machine("", "# nothing");
    InstallConfigData config;
    config.LoadConfigSettings(
        u"x INSTALL_SILENT=1 STATIC=1 AUTO_UPDATE=0 SPONSORS=0 WEB_NORV=1 WEB_ANALYTICS=0 "
        u"OEMUPDATE=1 DYNAMICBASELINEOFF=1 NO_VERIFY=1 REPAIRMODE=1 LAUNCHEDFROMQVK=0 "
        u"REMOVEOUTOFDATEQVRS=1 REMOVEOLDERQVRS=1 NOSTARTMENU=0 RETAIN_DQX_FILES=1 "
        u"INSTALLDIR=C:\\x /INSTALLDIRPUBQVR=C:\\y INSTALLCFG=C:\\cfg\\install.cfg "
        u"ProductCode=p BASEIMAGECHECKSUMSHA256=b COUNTRYOVERRIDE=c /installurl=u "
        u"/installmethod=m SPONSORPREF=s ADDLOCAL=a REBOOT=r MSI_CMDLINE=i CMDLINE=j "
        u"WEB_NORV_SECURITY_LEVEL=VH /lang=1 TEST_CONFIG_FILE_ERRORS=2 /s /h -download "
        u"-no_override /qn");
    std::string flags, texts;
    for (int i = 0; i < kFlagParams; ++i) {
        flags += config.readFlag(static_cast<FlagParam>(i)) ? '1' : '0';
    }
    EXPECT_EQ(flags, "110010111101101");
    for (int i = 0; i < kStringParams; ++i) {
        texts += config.getStringParam(static_cast<StringParam>(i)) + std::string("\n");
    }
    EXPECT_EQ(
        texts,
        "C:\\x\nC:\\cfg\\install.cfg\nC:\\y\nc\nu\nm\ns\na\nr\n"
        "REMOVEOLDERQVRS=1 ADDLOCAL=a REBOOT=r /qn\n"
        "INSTALL_SILENT=\"1\" STATIC=\"1\" AUTO_UPDATE=\"0\" SPONSORS=\"0\" WEB_NORV=\"1\" "
        "WEB_ANALYTICS=\"0\" OEMUPDATE=\"1\" REPAIRMODE=\"1\" NOSTARTMENU=\"0\" "
        "INSTALLDIR=\"C:\\x\" /INSTALLDIRPUBQVR=\"C:\\y\" INSTALLCFG=\"C:\\cfg\\install.cfg\" "
        "ProductCode=\"p\" BASEIMAGECHECKSUMSHA256=\"b\" WEB_NORV_SECURITY_LEVEL=\"VH\"\np\nb\n");
}

TEST(InstallConfig, ABadOneIsToldInTheUsersLanguageUnlessSilent) {
    const std::string malformed = "Malformed params: error 3090, param1=\"";
    const std::string import = "Install Configuration file import failed: error ";
    const std::string runtime = "Runtime configuration file import failed: error ";
    const std::string ofInstall = ", param1=\"" + kInstallPath + "\"";
    const std::string ofRuntime = ", param1=\"" + kRuntimePath + "\"";
    const struct {
        tstring arguments;
        std::string runtimeFile, installFile;
        const char* failing;  ///< a function
        bool shown;
        std::string failure;
    } cases[] = {
        {u"x bogus STATIC=1 /silent", "", "", "-", true, malformed + "\"bogus\";\"/silent\";\""},
        {u"STATIC=yes /s=1 INSTALL_SILENT /S installdir=rel WEB_NORV=enable /lang=x /q=1 "
         u"web_norv_security_level=vh STATIC=disable /INSTALLDIRPUBQVR=y INSTALLDIR= "
         u"INSTALLCFG=install.cfg \"REBOOT=a\nbogus=1\" "
         u"\"STATIC =1\" =x /l",
         "", "", "-", true,
         malformed +
             "\"STATIC=yes\";\"/s=1\";\"INSTALL_SILENT\";\"/S\";\"installdir=rel\";"
             "\"WEB_NORV=enable\";\"/lang=x\";\"/"
             "q=1\";\"web_norv_security_level=vh\";\"STATIC=disable\";\"/INSTALLDIRPUBQVR=y\";"
             "\"INSTALLDIR=\";\"INSTALLCFG=install.cfg\";\"REBOOT=a\nbogus=1\";\"STATIC =1\";"
             "\"=x\";\"/l\";\""},
        {u"x bogus INSTALL_SILENT=Enable", "", "", "-", false, malformed + "\"bogus\";\""},
        {u"x bogus -download", "", "", "-", false, malformed + "\"bogus\";\""},
        {kWithFile, "", "", "-", false, import + "304" + ofInstall},
        // The runtime file's step takes the key away before the file fails.
        {u"INSTALL_SILENT=1 INSTALLCFG=C:\\cfg\\install.cfg", "NOSTARTMENU=1",
         "STATIC=1\r\n\r\nbogus=1\r\nx=", "-", true, import + "313" + ofInstall + ", param2=\"3\""},
        {kWithFile, "", "STATIC=1", "fread", false, import + "307" + ofInstall},
        {u"x INSTALLCFG=C:\\..\\..\\x.cfg", "", "", "-", true,
         import + "311, param1=\"C:\\..\\..\\x.cfg\""},
        {u"x STATIC=1", "WEB_NORV=1\nbogus=1", "", "-", true,
         runtime + "313" + ofRuntime + ", param2=\"2\""},
        {u"", "STATIC=1", "", "fread", true, runtime + "307" + ofRuntime},
        {u"", "REBOOT=\xFF", "", "-", true, runtime + "314" + ofRuntime},
        {u"x", "", "", "CommandLineToArgvW", true,
         "CommandLineToArgvW failed. System error [8](system error 8 (There is not enough "
         "memory)): error 200"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.failure);
        Configured machine(c.runtimeFile, c.installFile);
        machine.facts.uiLanguages = {u"0804"};
        machine.calls.failAll(c.failing);
        const auto session = machine.installer.openSession({{u"MSICMDLINE", c.arguments}});
        EXPECT_EQ(loadMsiPropertiesFromConfig(session), 61015u);
        EXPECT_EQ(machine.handles.open(), Texts());
        const auto& boxes = machine.desktop.messageBoxes;
        ASSERT_EQ(boxes.size(), c.shown ? 1u : 0u);
        EXPECT_TRUE(!c.shown || boxes[0].caption == u"Norv 安装未完成");
        machine.calls.clearPlans();
        const Texts errors = logMessages(machine, "ERROR");
        ASSERT_GE(errors.size(), 2u);
        const std::string& exception = errors.end()[-2];
        EXPECT_EQ(exception.substr(exception.rfind("(): ") + 4), c.failure + "' caught");
        EXPECT_EQ(errors.back(),
                  "Error occurred while loading configuration settings from CA. Exiting "
                  "installer.");
    }
}

TEST(InstallConfig, EveryStatusHasItsTextInFourLanguages) {
    const std::pair<std::uint32_t, std::string> statuses[] = {
        {310, "The path to the install configuration file is too long."},
        {311, "The path to the install configuration file is invalid."},
        {312, "The path to the install configuration file is not in plain text."},
        {313, "Configuration file <1> is malformed in line <2>."},
        {314, "Configuration file <1> is not in plain text."},
        {315, "Configuration file <1> is too long."},
        {304, "Unable to open file <1>."},
        {305, "Cannot read configuration file <1> due to invalid permissions."},
        {306, "Writing to the runtime configuration file failed."},
        {307, "An error occurred while reading file <1>."},
        {3090, "There are errors in the following switches:\n<1>."},
        {200, "An internal error occurred."},
    };
    const std::tuple<Locale::Language, std::string, std::string> languages[] = {
        {Locale::english, "Unable to install Norv", "Norv Installation Not Completed"},
        {Locale::german, "Norv kann nicht installiert werden",
         "Norv-Installation nicht abgeschlossen"},
        {Locale::japanese, "Norvをインストールできません", "Norvのインストールが完了していません"},
        {Locale::chinese, "无法安装 Norv", "Norv 安装未完成"},
    };
    Configured machine("");
    std::set<std::string> seen;
    for (const auto& [status, english] : statuses) {
        for (const auto& [language, head, caption] : languages) {
            InstallConfigData::showErrorMessage({"", status, "<1>", "<2>"}, Locale(language));
            const simulated::MessageBox& box = machine.desktop.messageBoxes.back();
            const std::string text = tstrings::toUtf8(box.text);
            SCOPED_TRACE(text);
            EXPECT_EQ(logMessages(machine, "INFO").back(), text);
            EXPECT_EQ(tstrings::toUtf8(box.caption), caption);
            EXPECT_EQ(box.type, 0x52010u);
            EXPECT_TRUE(text.starts_with(head + "\n\n"));
            EXPECT_EQ(text.find(english) != text.npos, language == Locale::english);
            for (const char* argument : {"<1>", "<2>"}) {
                EXPECT_EQ(text.find(argument) == text.npos, english.find(argument) == text.npos);
            }
            EXPECT_TRUE(seen.insert(text).second);
        }
    }
}

TEST(InstallConfig, SettingsBecomeProperties) {
    // Command line, runtime file, "INSTALLDIR"; and the two properties afterwards.
    const std::tuple<tstring, std::string, tstring, tstring, tstring> cases[] = {
        {u"", "", u"", u"0", u""},
        {u"x INSTALLDIR=C:\\y/\\ REMOVEOLDERQVRS=Disable",
         "INSTALLDIR=C:\\x\nREMOVEOLDERQVRS=Enable", u"", u"0", u"C:\\y"},
        {u"x REMOVEOLDERQVRS=Enable", "INSTALLDIR=C:\\x\\", u"D:\\set\\", u"1", u"D:\\set\\"},
    };
    for (const auto& [commandLine, runtimeFile, installDir, expectedRemove, expectedDir] : cases) {
        Configured machine(runtimeFile);
        const auto session = machine.installer.openSession(
            {{u"MSICMDLINE", commandLine}, {u"INSTALLDIR", installDir}});
        EXPECT_EQ(loadMsiPropertiesFromConfig(session), ERROR_SUCCESS);
        EXPECT_EQ(machine.installer.property(session, u"REMOVEOLDERQVRS"), expectedRemove);
        EXPECT_EQ(machine.installer.property(session, u"INSTALLDIR"), expectedDir);
        EXPECT_EQ(logMentions(machine, "PROPERTY INSTALLDIR"), installDir != expectedDir);
    }
}

TEST(InstallConfig, RefusedPropertiesAreLogged) {
    Configured machine("INSTALLDIR=C:\\x");
    const auto session = machine.installer.openSession({{u"MSICMDLINE", u"x REMOVEOLDERQVRS=1"}});
    machine.calls.failAll("MsiSetPropertyW", 87);
    EXPECT_EQ(loadMsiPropertiesFromConfig(session), 87u);
    std::string told;
    for (const LogRecord& r : logRecords(machine)) {
        if (r.file == "ConfigAction.cpp" || r.file == "SetMsiProperty.cpp") {
            told += r.level + " " + r.message + "\n";
        }
    }
    EXPECT_EQ(told,
              "TRACE  MSICMDLINE is x REMOVEOLDERQVRS=1\n"
              "TRACE Setting PROPERTY REMOVEOLDERQVRS to 1\n"
              "ERROR REMOVEOLDERQVRS is NOT set. MsiSetProperty failed with 87\n"
              "TRACE  INSTALLDIR which is passed via command line is \n"
              "TRACE Setting PROPERTY INSTALLDIR to C:\\x\n"
              "ERROR INSTALLDIR is NOT set. MsiSetProperty failed with 87\n");
}

TEST(InstallConfig, TheLogTellsOfSourcesAndRefusals) {
    const Configured machine("STATIC=1\nWEB_NORV=Enable");
    InstallConfigData config;
    config.LoadConfigSettings(u"x /s /l C:\\log.txt REBOOT=r");
    EXPECT_EQ(config.logFileArgument(), u"C:\\log.txt");
    const std::string end = "|-------------------------------------|\n";
    const std::string path = "Runtime config file path is " + kRuntimePath;
    const std::string adding = "...adding MSICMDLINE to settingsConfig";
    EXPECT_EQ(
        logMessages(machine, "INFO"),
        (Texts{"Default config settings are: \nINSTALL_SILENT=Disable\nSTATIC=Disable\n"
               "AUTO_UPDATE=Enable\nWEB_ANALYTICS=Enable\nSPONSORS=Enable\nOEMUPDATE=Disable\n",
               adding, path, adding, path,
               "|------Config to backup--------|\n\nSTATIC = 1\nWEB_NORV = Enable\n" + end, path,
               adding,
               "|------!!!!Working config!!!!--------|\n\nSTATIC = 1\nAUTO_UPDATE = Enable\n"
               "SPONSORS = Enable\nWEB_NORV = Enable\nWEB_ANALYTICS = Enable\n"
               "OEMUPDATE = Disable\nREBOOT = r\nMSI_CMDLINE = REBOOT=r\n"
               "CMDLINE = STATIC=\"1\" WEB_NORV=\"Enable\"\n/s = 1\n" +
                   end}));
    EXPECT_ANY_THROW(InstallConfigData().LoadConfigSettings(u"bogus bogus STATIC=x /S /l"));
    EXPECT_EQ(logMessages(machine, "ERROR"),
              (Texts{"arg bogus is not supported", "Loading arg STATIC=x failed with 313",
                     "Loading arg /S failed with 0", "arg /l is incorrect"}));
}

TEST(InstallConfig, FlaggedKeysAreChecked) {
    const Configured machine("", "x");
    const InstallConfigData config;
    EXPECT_THROW(config.productCode(), settings::Exception);
    ParamDescriptor key = {"KEY", false, false, false, true, true, false};
    const auto check = [&](const std::string& path) {
        return thrownText([&] { config.CheckParam(key, path); });
    };
    EXPECT_EQ(check(kInstallPath), "nothing");
    EXPECT_EQ(check("C:\\cfg\\none"), "File is not accessible: error 307, param2=\"KEY\"");
    key.enterpriseOnly = true;
    EXPECT_EQ(check(kInstallPath), "The param is not supported: error 3090, param1=\"KEY\"");
    EXPECT_EQ(machine.handles.open(), Texts());
}

}  // namespace
