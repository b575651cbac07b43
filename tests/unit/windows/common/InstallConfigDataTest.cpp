// What the sources of an install configuration result in, and what the log says about them.
#include "windows/common/InstallConfigData.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "unit/windows/common/Configured.h"
#include "support/LogReader.h"
#include "support/Thrown.h"

namespace {

using Messages = std::vector<std::string>;

/// Returns the loaded configuration as the log shows it, without the defaults.
std::string workingConfig(const simulated::Machine& machine) {
    static const std::regex frameAndDefaults(
        "[|]------!!!!Working config!!!!--------[|]\n\n|[|]-+[|]\n$|(STATIC|OEMUPDATE) = Disable\n|"
        "(AUTO_UPDATE|SPONSORS|WEB_ANALYTICS) = Enable\n");
    return std::regex_replace(logMessages(machine, "INFO").back(), frameAndDefaults, "");
}

/// Loads a configuration that is good and returns it.
std::string load(const tstring& arguments, const ConfigFiles& files = {}) {
    const Configured machine(files);
    InstallConfigData config;
    EXPECT_EQ(thrownText([&] { config.LoadConfigSettings(arguments); }), "nothing");
    EXPECT_EQ(logMessages(machine, "ERROR"), Messages());
    return workingConfig(machine);
}

TEST(InstallConfigDataSources, TheFirstArgumentMayBeAnything) {
    EXPECT_EQ(load(u"setup.exe"), "");
}

TEST(InstallConfigDataSources, TheRuntimeFileOverridesDefaults) {
    EXPECT_EQ(load(u"", {.runtime = "NOSTARTMENU=1\nSPONSORS=0"}),
              "SPONSORS = 0\nNOSTARTMENU = 1\nCMDLINE = SPONSORS=\"0\" NOSTARTMENU=\"1\"\n");
}

TEST(InstallConfigDataSources, TheRuntimeFileNeverMakesARunSilent) {
    EXPECT_EQ(load(u"", {.runtime = "INSTALL_SILENT=Enable"}), "");
}

TEST(InstallConfigDataSources, TheInstallFileOverridesTheRuntimeFile) {
    EXPECT_EQ(load(u"setup INSTALLCFG=C:\\cfg\\install.cfg",
                   {.runtime = "COUNTRYOVERRIDE=runtime\nADDLOCAL=runtime",
                    .install = "\xEF\xBB\xBF"
                               "ADDLOCAL=install\r\n# note\r\ninstalldir=C:\\日"}),
              "INSTALLDIR = C:\\日\nINSTALLCFG = C:\\cfg\\install.cfg\nCOUNTRYOVERRIDE = runtime\n"
              "ADDLOCAL = install\n"
              "CMDLINE = INSTALLDIR=\"C:\\日\" INSTALLCFG=\"C:\\cfg\\install.cfg\"\n");
}

TEST(InstallConfigDataSources, ArgumentsOverrideBothFiles) {
    EXPECT_EQ(load(u"setup INSTALLCFG=C:\\cfg\\install.cfg SponsorPref:x=y INSTALL_SILENT=1",
                   {.runtime = "SPONSORPREF=runtime", .install = "SPONSORPREF:install"}),
              "INSTALL_SILENT = 1\nINSTALLCFG = C:\\cfg\\install.cfg\nSPONSORPREF = x=y\n"
              "CMDLINE = INSTALL_SILENT=\"1\" INSTALLCFG=\"C:\\cfg\\install.cfg\"\n");
}

TEST(InstallConfigDataSources, ArgumentsAreSplitAsWindowsSplitsACommandLine) {
    EXPECT_EQ(load(u"x \"INSTALLDIR=C:\\a b\\\\\" \"\" ADDLOCAL=\"p q\""),
              "INSTALLDIR = C:\\a b\\\nADDLOCAL = p q\nMSI_CMDLINE = ADDLOCAL=p q\n"
              "CMDLINE = INSTALLDIR=\"C:\\a b\\\"\n");
}

TEST(InstallConfigDataSources, ArgumentsOfTheInstallerArePassedOn) {
    EXPECT_EQ(load(u"/qn REBOOT=Suppress /L*v C:\\l.txt REMOVEOLDERQVRS=0 /QB!"),
              "REMOVEOLDERQVRS = 0\nREBOOT = Suppress\n"
              "MSI_CMDLINE = /qn REBOOT=Suppress REMOVEOLDERQVRS=0 /QB!\n/q = 1\n");
}

TEST(InstallConfigDataSources, TheLastArgumentOfANameWins) {
    EXPECT_EQ(load(u"x /lang /none /LANG=7"), "/lang = 7\n");
}

TEST(InstallConfigDataSources, CommandLinesInAFileAreKeptWithoutOthers) {
    EXPECT_EQ(load(u"", {.runtime = "CMDLINE=x\nMSI_CMDLINE=y"}), "MSI_CMDLINE = y\nCMDLINE = x\n");
    EXPECT_EQ(load(u"x REBOOT=r", {.runtime = "CMDLINE=x\nMSI_CMDLINE=y\nWEB_NORV=1"}),
              "WEB_NORV = 1\nREBOOT = r\nMSI_CMDLINE = REBOOT=r\nCMDLINE = WEB_NORV=\"1\"\n");
}

/// A configuration with every key of the table.
class InstallConfigDataEveryKey : public testing::Test {
protected:
    InstallConfigDataEveryKey() {
        config.LoadConfigSettings(
            u"x INSTALL_SILENT=1 STATIC=1 AUTO_UPDATE=0 SPONSORS=0 WEB_NORV=1 WEB_ANALYTICS=0 "
            u"OEMUPDATE=1 DYNAMICBASELINEOFF=1 NO_VERIFY=1 REPAIRMODE=1 LAUNCHEDFROMQVK=0 "
            u"REMOVEOUTOFDATEQVRS=1 REMOVEOLDERQVRS=1 NOSTARTMENU=0 RETAIN_DQX_FILES=1 "
            u"INSTALLDIR=C:\\x /INSTALLDIRPUBQVR=C:\\y INSTALLCFG=C:\\cfg\\install.cfg "
            u"ProductCode=code BASEIMAGECHECKSUMSHA256=sum COUNTRYOVERRIDE=country "
            u"/installurl=url /installmethod=method SPONSORPREF=sponsor ADDLOCAL=feature REBOOT=r "
            u"MSI_CMDLINE=i CMDLINE=j WEB_NORV_SECURITY_LEVEL=VH /lang=1 "
            u"TEST_CONFIG_FILE_ERRORS=2 /s /h -download -no_override /qn");
    }

    const Configured machine{{.install = "# nothing"}};
    InstallConfigData config;
};

TEST_F(InstallConfigDataEveryKey, SomeArePassedToTheInstaller) {
    EXPECT_STREQ(config.getStringParam(StringParam::MsiCmdLine),
                 "REMOVEOLDERQVRS=1 ADDLOCAL=feature REBOOT=r /qn");
}

TEST_F(InstallConfigDataEveryKey, SomeAreExported) {
    EXPECT_STREQ(
        config.getStringParam(StringParam::CmdLine),
        "INSTALL_SILENT=\"1\" STATIC=\"1\" AUTO_UPDATE=\"0\" SPONSORS=\"0\" WEB_NORV=\"1\" "
        "WEB_ANALYTICS=\"0\" OEMUPDATE=\"1\" REPAIRMODE=\"1\" NOSTARTMENU=\"0\" "
        "INSTALLDIR=\"C:\\x\" /INSTALLDIRPUBQVR=\"C:\\y\" INSTALLCFG=\"C:\\cfg\\install.cfg\" "
        "ProductCode=\"code\" BASEIMAGECHECKSUMSHA256=\"sum\" WEB_NORV_SECURITY_LEVEL=\"VH\"");
}

TEST(InstallConfigDataLog, ShowsEachSourceAndTheResult) {
    const Configured machine({.runtime = "STATIC=1\nWEB_NORV=Enable"});
    InstallConfigData config;
    config.LoadConfigSettings(u"x /s REBOOT=r /l C:\\log.txt");
    EXPECT_EQ(config.logFileArgument(), u"C:\\log.txt");
    const std::string path = "Runtime config file path is " + kRuntimeFile;
    const std::string adding = "...adding MSICMDLINE to settingsConfig";
    EXPECT_EQ(
        logMessages(machine, "INFO"),
        (Messages{"Default config settings are: \nINSTALL_SILENT=Disable\nSTATIC=Disable\n"
                  "AUTO_UPDATE=Enable\nWEB_ANALYTICS=Enable\nSPONSORS=Enable\nOEMUPDATE=Disable\n",
                  adding, path, adding, path,
                  "|------Config to backup--------|\n\nSTATIC = 1\nWEB_NORV = Enable\n"
                  "|-------------------------------------|\n",
                  path, adding,
                  "|------!!!!Working config!!!!--------|\n\nSTATIC = 1\nAUTO_UPDATE = Enable\n"
                  "SPONSORS = Enable\nWEB_NORV = Enable\nWEB_ANALYTICS = Enable\n"
                  "OEMUPDATE = Disable\nREBOOT = r\nMSI_CMDLINE = REBOOT=r\n"
                  "CMDLINE = STATIC=\"1\" WEB_NORV=\"Enable\"\n/s = 1\n"
                  "|-------------------------------------|\n"}));
}

TEST(InstallConfigDataLog, NamesEachRefusedArgument) {
    const Configured machine;
    InstallConfigData config;
    EXPECT_EQ(thrownText([&] { config.LoadConfigSettings(u"bogus bogus STATIC=x /S /l"); }),
              "Malformed params: error 3090, "
              "param1=\"\"bogus\";\"STATIC=x\";\"/S\";\"/l\";\"");
    EXPECT_EQ(logMessages(machine, "ERROR"),
              (Messages{"arg bogus is not supported", "Loading arg STATIC=x failed with 313",
                        "Loading arg /S failed with 0", "arg /l is incorrect"}));
}

TEST(InstallConfigDataChecks, AKeyMayRequireAReadableFile) {
    const Configured machine({.install = "x"});
    const InstallConfigData config;
    ParamDescriptor key = {};
    key.name = "KEY";
    key.checkFile = true;
    key.checkPlainText = true;
    EXPECT_EQ(thrownText([&] { config.CheckParam(key, kInstallFile); }), "nothing");
    EXPECT_EQ(thrownText([&] { config.CheckParam(key, "C:\\cfg\\none"); }),
              "File is not accessible: error 307, param2=\"KEY\"");
    EXPECT_EQ(machine.handles.open(), Messages());
}

TEST(InstallConfigDataChecks, AKeyMayBeForEnterprisesOnly) {
    const Configured machine;
    const InstallConfigData config;
    ParamDescriptor key = {};
    key.name = "KEY";
    key.enterpriseOnly = true;
    EXPECT_EQ(thrownText([&] { config.CheckParam(key, "C:\\x"); }),
              "The param is not supported: error 3090, param1=\"KEY\"");
}

TEST(InstallConfigDataChecks, AMissingProductCodeIsThrown) {
    const Configured machine;
    EXPECT_THROW(InstallConfigData().productCode(), settings::Exception);
}

struct MessageOfAStatus {
    std::uint32_t status;
    std::string english;  ///< its first sentence, with <1> and <2> for its arguments
};

const MessageOfAStatus kMessages[] = {
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

/// Shows the message of a status in a language and returns the box.
simulated::MessageBox show(Configured& machine, std::uint32_t status, Locale::Language language) {
    InstallConfigData::showErrorMessage({"", status, "<1>", "<2>"}, Locale(language));
    return machine.desktop.messageBoxes.back();
}

TEST(InstallConfigDataMessages, EachStatusHasItsOwn) {
    Configured machine;
    for (const MessageOfAStatus& message : kMessages) {
        const simulated::MessageBox box = show(machine, message.status, Locale::english);
        const std::string text = tstrings::toUtf8(box.text);
        EXPECT_TRUE(text.starts_with("Unable to install Norv\n\n" + message.english)) << text;
        EXPECT_EQ(box.caption, u"Norv Installation Not Completed");
        EXPECT_EQ(box.type,
                  static_cast<UINT>(MB_ICONERROR | MB_TASKMODAL | MB_SETFOREGROUND | MB_TOPMOST));
        EXPECT_EQ(logMessages(machine, "INFO").back(), text);
    }
}

struct MessageLanguage {
    Locale::Language language;
    std::string caption, firstLine;
};

TEST(InstallConfigDataMessages, EachStatusIsTranslated) {
    const MessageLanguage languages[] = {
        {Locale::german, "Norv-Installation nicht abgeschlossen",
         "Norv kann nicht installiert werden\n\n"},
        {Locale::japanese, "Norvのインストールが完了していません",
         "Norvをインストールできません\n\n"},
        {Locale::chinese, "Norv 安装未完成", "无法安装 Norv\n\n"},
    };
    Configured machine;
    std::set<std::string> texts;
    for (const MessageOfAStatus& message : kMessages) {
        for (const MessageLanguage& language : languages) {
            const simulated::MessageBox box = show(machine, message.status, language.language);
            const std::string text = tstrings::toUtf8(box.text);
            SCOPED_TRACE(text);
            EXPECT_EQ(tstrings::toUtf8(box.caption), language.caption);
            EXPECT_TRUE(text.starts_with(language.firstLine));
            EXPECT_EQ(text.find(message.english), text.npos) << "not translated";
            EXPECT_EQ(text.find("<1>") == text.npos, message.english.find("<1>") == text.npos);
            EXPECT_EQ(text.find("<2>") == text.npos, message.english.find("<2>") == text.npos);
            EXPECT_TRUE(texts.insert(text).second) << "the same text for two statuses";
        }
    }
}

}  // namespace
