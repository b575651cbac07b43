// The configuration action: properties of a good configuration, box and status of a bad one.
#include "windows/customactions/ConfigAction.h"

#include <gtest/gtest.h>

#include "support/LogReader.h"
#include "unit/windows/common/Configured.h"

namespace {

using Messages = std::vector<std::string>;

struct GoodConfiguration {
    const char* name;
    tstring arguments = {};
    std::string runtimeFile = {};
    tstring installDir = {};  ///< the property before the action
    tstring expectedRemoveOlder;
    tstring expectedInstallDir = {};
};

TEST(ConfigAction, SetsPropertiesFromTheConfiguration) {
    const GoodConfiguration rows[] = {
        {.name = "defaults", .expectedRemoveOlder = u"0"},
        {.name = "arguments win over the runtime file, trailing separators are dropped",
         .arguments = u"x INSTALLDIR=C:\\y/\\ REMOVEOLDERQVRS=Disable",
         .runtimeFile = "INSTALLDIR=C:\\x\nREMOVEOLDERQVRS=Enable",
         .expectedRemoveOlder = u"0",
         .expectedInstallDir = u"C:\\y"},
        {.name = "a directory that is set already is kept",
         .arguments = u"x REMOVEOLDERQVRS=Enable",
         .runtimeFile = "INSTALLDIR=C:\\x\\",
         .installDir = u"D:\\set\\",
         .expectedRemoveOlder = u"1",
         .expectedInstallDir = u"D:\\set\\"},
    };
    for (const GoodConfiguration& row : rows) {
        SCOPED_TRACE(row.name);
        Configured machine({.runtime = row.runtimeFile});
        const auto session = machine.installer.openSession(
            {{u"MSICMDLINE", row.arguments}, {u"INSTALLDIR", row.installDir}});
        EXPECT_EQ(loadMsiPropertiesFromConfig(session), ERROR_SUCCESS);
        EXPECT_EQ(machine.installer.property(session, u"REMOVEOLDERQVRS"), row.expectedRemoveOlder);
        EXPECT_EQ(machine.installer.property(session, u"INSTALLDIR"), row.expectedInstallDir);
    }
}

TEST(ConfigAction, LogsPropertiesThatTheInstallerRefuses) {
    Configured machine({.runtime = "INSTALLDIR=C:\\x"});
    const auto session = machine.installer.openSession({{u"MSICMDLINE", u"x REMOVEOLDERQVRS=1"}});
    machine.calls.failAll("MsiSetPropertyW", 87);
    EXPECT_EQ(loadMsiPropertiesFromConfig(session), 87u);
    EXPECT_EQ(logMessages(machine, "ERROR"),
              (Messages{"REMOVEOLDERQVRS is NOT set. MsiSetProperty failed with 87",
                        "INSTALLDIR is NOT set. MsiSetProperty failed with 87"}));
}

struct BadConfiguration {
    const char* name;
    tstring arguments = u"x";
    ConfigFiles files = {};
    const char* failing = nullptr;  ///< a function of Windows
    std::string failure;            ///< the message of the exception
};

const BadConfiguration kBadConfigurations[] = {
    {.name = "words that are no number or level",
     .arguments = u"/lang=x web_norv_security_level=vh",
     .failure = "Malformed params: error 3090, "
                "param1=\"\"/lang=x\";\"web_norv_security_level=vh\";\""},
    {.name = "relative paths",
     .arguments = u"installdir=rel /INSTALLDIRPUBQVR=y INSTALLDIR= INSTALLCFG=install.cfg",
     .failure = "Malformed params: error 3090, param1=\"\"installdir=rel\";"
                "\"/INSTALLDIRPUBQVR=y\";\"INSTALLDIR=\";\"INSTALLCFG=install.cfg\";\""},
    {.name = "switches with a value, in another case, or without their argument",
     .arguments = u"x /s=1 INSTALL_SILENT /S /q=1 /l",
     .failure = "Malformed params: error 3090, param1=\"\"/s=1\";\"INSTALL_SILENT\";"
                "\"/S\";\"/q=1\";\"/l\";\""},
    {.name = "more than one line, blanks around the key, no key",
     .arguments = u"x \"REBOOT=a\nbogus=1\" \"STATIC =1\" =x",
     .failure = "Malformed params: error 3090, param1=\"\"REBOOT=a\nbogus=1\";"
                "\"STATIC =1\";\"=x\";\""},
    {.name = "an install file with bad lines",
     .arguments = u"x INSTALLCFG=C:\\cfg\\install.cfg",
     .files = {.install = "STATIC=1\r\n\r\nbogus=1\r\nx="},
     .failure = "Install Configuration file import failed: error 313, "
                "param1=\"C:\\cfg\\install.cfg\", param2=\"3\""},
    {.name = "an install file that doesn't exist",
     .arguments = u"x INSTALLCFG=C:\\cfg\\install.cfg",
     .failure = "Install Configuration file import failed: error 304, "
                "param1=\"C:\\cfg\\install.cfg\""},
    {.name = "a path above the drive's root",
     .arguments = u"x INSTALLCFG=C:\\..\\..\\x.cfg",
     .failure = "Install Configuration file import failed: error 311, "
                "param1=\"C:\\..\\..\\x.cfg\""},
    {.name = "a runtime file with a bad line",
     .files = {.runtime = "WEB_NORV=1\nbogus=1"},
     .failure = "Runtime configuration file import failed: error 313, param1=\"" + kRuntimeFile +
                "\", param2=\"2\""},
    {.name = "a runtime file that can't be read",
     .files = {.runtime = "STATIC=1"},
     .failing = "fread",
     .failure =
         "Runtime configuration file import failed: error 307, param1=\"" + kRuntimeFile + "\""},
    {.name = "a runtime file that isn't UTF-8",
     .files = {.runtime = "REBOOT=\xFF"},
     .failure =
         "Runtime configuration file import failed: error 314, param1=\"" + kRuntimeFile + "\""},
    {.name = "a command line that can't be split",
     .failing = "CommandLineToArgvW",
     .failure = "CommandLineToArgvW failed. System error [8](system error 8 (There is not enough "
                "memory)): error 200"},
};

TEST(ConfigAction, FailsForABadConfiguration) {
    for (const BadConfiguration& row : kBadConfigurations) {
        SCOPED_TRACE(row.name);
        Configured machine(row.files);
        if (row.failing != nullptr) {
            machine.calls.failAll(row.failing);
        }
        const auto session = machine.installer.openSession({{u"MSICMDLINE", row.arguments}});
        EXPECT_EQ(loadMsiPropertiesFromConfig(session), 61015u);
        machine.calls.clearPlans();
        const Messages errors = logMessages(machine, "ERROR");
        ASSERT_GE(errors.size(), 2u);
        const std::string& caught = errors[errors.size() - 2];
        EXPECT_EQ(caught.substr(caught.rfind("(): ") + 4), row.failure + "' caught");
        EXPECT_EQ(
            errors.back(),
            "Error occurred while loading configuration settings from CA. Exiting installer.");
    }
}

TEST(ConfigAction, ShowsABoxInTheUsersLanguageUnlessTheRunIsSilent) {
    const struct {
        const char* name;
        tstring arguments;
        ConfigFiles files = {};
        std::vector<tstring> captions = {};
    } cases[] = {
        {.name = "not silent", .arguments = u"x bogus", .captions = {u"Norv 安装未完成"}},
        {.name = "INSTALL_SILENT", .arguments = u"x bogus INSTALL_SILENT=Enable"},
        {.name = "-download", .arguments = u"x bogus -download"},
        {.name = "/s", .arguments = u"x /s INSTALLCFG=C:\\none.cfg"},
        {.name = "INSTALL_SILENT, which loading the runtime file removes",
         .arguments = u"INSTALL_SILENT=1 INSTALLCFG=C:\\none.cfg",
         .files = {.runtime = "NOSTARTMENU=1"},
         .captions = {u"Norv 安装未完成"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Configured machine(c.files);
        machine.facts.uiLanguages = {u"0804"};
        const auto session = machine.installer.openSession({{u"MSICMDLINE", c.arguments}});
        EXPECT_EQ(loadMsiPropertiesFromConfig(session), 61015u);
        std::vector<tstring> captions;
        for (const simulated::MessageBox& box : machine.desktop.messageBoxes) {
            captions.push_back(box.caption);
        }
        EXPECT_EQ(captions, c.captions);
    }
}

}  // namespace
