// The configuration action: properties of a good configuration, box and status of a bad one.
#include "windows/customactions/ConfigAction.h"

#include <gtest/gtest.h>

#include "unit/windows/common/Configured.h"
#include "support/LogReader.h"

namespace {

using Messages = std::vector<std::string>;

const tstring kSilentWithFile = u"x /s INSTALLCFG=C:\\cfg\\install.cfg";

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
        EXPECT_EQ(logMentions(machine, "PROPERTY INSTALLDIR"),
                  row.installDir != row.expectedInstallDir);
    }
}

TEST(ConfigAction, LogsPropertiesThatTheInstallerRefuses) {
    Configured machine({.runtime = "INSTALLDIR=C:\\x"});
    const auto session = machine.installer.openSession({{u"MSICMDLINE", u"x REMOVEOLDERQVRS=1"}});
    machine.calls.failAll("MsiSetPropertyW", 87);
    EXPECT_EQ(loadMsiPropertiesFromConfig(session), 87u);
    Messages messages;
    for (const LogRecord& record : logRecords(machine)) {
        if (record.file == "ConfigAction.cpp" || record.file == "SetMsiProperty.cpp") {
            messages.push_back(record.level + " " + record.message);
        }
    }
    EXPECT_EQ(messages, (Messages{"TRACE  MSICMDLINE is x REMOVEOLDERQVRS=1",
                                  "TRACE Setting PROPERTY REMOVEOLDERQVRS to 1",
                                  "ERROR REMOVEOLDERQVRS is NOT set. MsiSetProperty failed with 87",
                                  "TRACE  INSTALLDIR which is passed via command line is ",
                                  "TRACE Setting PROPERTY INSTALLDIR to C:\\x",
                                  "ERROR INSTALLDIR is NOT set. MsiSetProperty failed with 87"}));
}

struct BadConfiguration {
    const char* name;
    tstring arguments = {};
    ConfigFiles files = {};
    const char* failing = nullptr;  ///< a function of Windows
    bool isShown = true;
    std::string failure;  ///< the message of the exception
};

/// Runs the action on a Chinese machine and checks status, box and log.
void expectBad(const BadConfiguration& row) {
    SCOPED_TRACE(row.name);
    Configured machine(row.files);
    machine.facts.uiLanguages = {u"0804"};
    if (row.failing != nullptr) {
        machine.calls.failAll(row.failing);
    }
    const auto session = machine.installer.openSession({{u"MSICMDLINE", row.arguments}});
    EXPECT_EQ(loadMsiPropertiesFromConfig(session), 61015u);
    EXPECT_EQ(machine.handles.open(), Messages());
    const auto& boxes = machine.desktop.messageBoxes;
    EXPECT_EQ(boxes.size(), row.isShown ? 1u : 0u);
    for (const simulated::MessageBox& box : boxes) {
        EXPECT_EQ(box.caption, u"Norv 安装未完成");
    }
    machine.calls.clearPlans();
    const Messages errors = logMessages(machine, "ERROR");
    ASSERT_GE(errors.size(), 2u);
    const std::string& caught = errors[errors.size() - 2];
    EXPECT_EQ(caught.substr(caught.rfind("(): ") + 4), row.failure + "' caught");
    EXPECT_EQ(errors.back(),
              "Error occurred while loading configuration settings from CA. Exiting installer.");
}

TEST(ConfigAction, BadArgumentsAreNamed) {
    expectBad({.name = "unknown arguments",
               .arguments = u"x bogus STATIC=1 /silent",
               .failure = "Malformed params: error 3090, param1=\"\"bogus\";\"/silent\";\""});
    expectBad({.name = "values that the keys refuse",
               .arguments = u"STATIC=yes installdir=rel WEB_NORV=enable /lang=x "
                            u"web_norv_security_level=vh STATIC=disable /INSTALLDIRPUBQVR=y "
                            u"INSTALLDIR= INSTALLCFG=install.cfg",
               .failure = "Malformed params: error 3090, param1=\"\"STATIC=yes\";"
                          "\"installdir=rel\";\"WEB_NORV=enable\";\"/lang=x\";"
                          "\"web_norv_security_level=vh\";\"STATIC=disable\";"
                          "\"/INSTALLDIRPUBQVR=y\";\"INSTALLDIR=\";\"INSTALLCFG=install.cfg\";\""});
    expectBad({.name = "switches with a value, in another case, or without their argument",
               .arguments = u"x /s=1 INSTALL_SILENT /S /q=1 /l",
               .failure = "Malformed params: error 3090, param1=\"\"/s=1\";\"INSTALL_SILENT\";"
                          "\"/S\";\"/q=1\";\"/l\";\""});
    expectBad({.name = "more than one line, blanks around the key, no key",
               .arguments = u"x \"REBOOT=a\nbogus=1\" \"STATIC =1\" =x",
               .failure = "Malformed params: error 3090, param1=\"\"REBOOT=a\nbogus=1\";"
                          "\"STATIC =1\";\"=x\";\""});
}

TEST(ConfigAction, SilentRunsShowNoBox) {
    const std::string bogus = "Malformed params: error 3090, param1=\"\"bogus\";\"";
    expectBad({.name = "INSTALL_SILENT",
               .arguments = u"x bogus INSTALL_SILENT=Enable",
               .isShown = false,
               .failure = bogus});
    expectBad({.name = "-download",
               .arguments = u"x bogus -download",
               .isShown = false,
               .failure = bogus});
    expectBad({.name = "/s",
               .arguments = kSilentWithFile,
               .isShown = false,
               .failure = "Install Configuration file import failed: error 304, param1=\"" +
                          kInstallFile + "\""});
}

TEST(ConfigAction, BadInstallFilesAreNamed) {
    const std::string failed = "Install Configuration file import failed: error ";
    expectBad({.name = "a bad line; loading the runtime file has removed INSTALL_SILENT",
               .arguments = u"INSTALL_SILENT=1 INSTALLCFG=C:\\cfg\\install.cfg",
               .files = {.runtime = "NOSTARTMENU=1", .install = "STATIC=1\r\n\r\nbogus=1\r\nx="},
               .failure = failed + "313, param1=\"" + kInstallFile + "\", param2=\"3\""});
    expectBad({.name = "a file that can't be read",
               .arguments = kSilentWithFile,
               .files = {.install = "STATIC=1"},
               .failing = "fread",
               .isShown = false,
               .failure = failed + "307, param1=\"" + kInstallFile + "\""});
    expectBad({.name = "a path above the drive's root",
               .arguments = u"x INSTALLCFG=C:\\..\\..\\x.cfg",
               .failure = failed + "311, param1=\"C:\\..\\..\\x.cfg\""});
}

TEST(ConfigAction, BadRuntimeFilesAreNamed) {
    const std::string failed = "Runtime configuration file import failed: error ";
    expectBad({.name = "a bad line",
               .arguments = u"x STATIC=1",
               .files = {.runtime = "WEB_NORV=1\nbogus=1"},
               .failure = failed + "313, param1=\"" + kRuntimeFile + "\", param2=\"2\""});
    expectBad({.name = "a file that can't be read",
               .files = {.runtime = "STATIC=1"},
               .failing = "fread",
               .failure = failed + "307, param1=\"" + kRuntimeFile + "\""});
    expectBad({.name = "a file that isn't UTF-8",
               .files = {.runtime = "REBOOT=\xFF"},
               .failure = failed + "314, param1=\"" + kRuntimeFile + "\""});
}

TEST(ConfigAction, ACommandLineThatCannotBeSplitIsAnInternalError) {
    expectBad({.name = "out of memory",
               .arguments = u"x",
               .failing = "CommandLineToArgvW",
               .failure = "CommandLineToArgvW failed. System error [8](system error 8 (There is "
                          "not enough memory)): error 200"});
}

}  // namespace
