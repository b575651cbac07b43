#include "windows/customactions/ConfigAction.h"

#include <gtest/gtest.h>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "unit/config/ConfigMachine.h"

namespace {

TEST(ConfigAction, SettingsBecomeProperties) {
    const struct {
        const char16_t* commandLine;
        const char* runtimeFile;
        const char16_t* installDir;
        const char16_t* expectedRemove;
        const char16_t* expectedDir;
    } cases[] = {
        {u"", "", u"", u"0", u""},
        {u"x INSTALLDIR=C:\\y/\\ REMOVEOLDERQVRS=Disable",
         "INSTALLDIR=C:\\x\nREMOVEOLDERQVRS=Enable", u"", u"0", u"C:\\y"},
        {u"x REMOVEOLDERQVRS=Enable", "INSTALLDIR=C:\\x\\", u"D:\\set\\", u"1", u"D:\\set\\"},
    };
    for (const auto& c : cases) {
        simulated::Machine machine;
        addConfigFiles(machine, c.runtimeFile, "");
        const simulated::Running running(machine);
        const MSIHANDLE session = machine.installer.openSession(
            {{u"MSICMDLINE", c.commandLine}, {u"INSTALLDIR", c.installDir}});
        EXPECT_EQ(loadMsiPropertiesFromConfig(session), ERROR_SUCCESS);
        EXPECT_EQ(machine.installer.property(session, u"REMOVEOLDERQVRS"), c.expectedRemove);
        EXPECT_EQ(machine.installer.property(session, u"INSTALLDIR"), c.expectedDir);
        EXPECT_EQ(logMentions(machine, "PROPERTY INSTALLDIR"),
                  std::u16string(c.installDir) != c.expectedDir);
        EXPECT_TRUE(logHas(machine, " MSICMDLINE is " + tstrings::toUtf8(c.commandLine)));
    }
}

TEST(ConfigAction, ABadConfigurationIsShownInTheUsersLanguage) {
    simulated::Machine machine;
    machine.facts.uiLanguages = {u"0804"};
    addConfigFiles(machine, "", "STATIC=1\nbogus\n");
    const simulated::Running running(machine);
    const MSIHANDLE session =
        machine.installer.openSession({{u"MSICMDLINE", u"x INSTALLCFG=C:\\cfg\\install.cfg"}});
    EXPECT_EQ(loadMsiPropertiesFromConfig(session), 61015u);
    ASSERT_EQ(machine.desktop.messageBoxes.size(), 1u);
    const simulated::MessageBox& box = machine.desktop.messageBoxes[0];
    EXPECT_EQ(box.text,
              u"\u65E0\u6CD5\u5B89\u88C5 Norv\n\n\u914D\u7F6E\u6587\u4EF6 "
              u"C:\\cfg\\install.cfg \u5728\u884C 2 \u4E2D\u683C\u5F0F\u9519\u8BEF\u3002\n"
              u"\u8BF7\u68C0\u67E5\u6587\u4EF6\u7684\u6570\u636E\u548C\u683C\u5F0F\u8BBE"
              u"\u7F6E\u3002");
    EXPECT_EQ(box.caption, u"Norv \u5B89\u88C5\u672A\u5B8C\u6210");
    EXPECT_EQ(box.type, 0x52010u);
    EXPECT_TRUE(logHas(machine, tstrings::toUtf8(box.text)));
    const LogRecord last = logRecords(machine).back();
    EXPECT_EQ(last.function + ": " + last.message,
              "MSILoadMsiPropertiesFromConfig: Error occurred while loading configuration settings "
              "from CA. Exiting installer.");
}

TEST(ConfigAction, EveryStatusHasItsText) {
    const std::pair<std::uint32_t, const char*> cases[] = {
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
    simulated::Machine machine;
    const simulated::Running running(machine);
    for (const auto& [status, start] : cases) {
        InstallConfigData::showErrorMessage({"", status, "<1>", "<2>"}, Locale(Locale::english));
        const std::string text = tstrings::toUtf8(machine.desktop.messageBoxes.back().text);
        EXPECT_TRUE(text.starts_with(std::string("Unable to install Norv\n\n") + start)) << text;
    }
    const std::string arguments(3000, '%');  // longer than any text of its own
    InstallConfigData::showErrorMessage({"", 3090, arguments, ""}, Locale(Locale::english));
    EXPECT_NE(tstrings::toUtf8(machine.desktop.messageBoxes.back().text).find(arguments + "."),
              std::string::npos);
}

TEST(ConfigAction, SilentRunsShowNoBox) {
    const std::pair<const char16_t*, bool> cases[] = {
        {u"x bogus", true},
        {u"x bogus /S", true},
        {u"x bogus INSTALL_SILENT=Enable", false},
        {u"/s bogus", false},
        {u"x bogus -download", false},
        {u"x /s INSTALLCFG=C:\\cfg\\install.cfg", false},
        // The runtime file's step takes the key away before the file fails.
        {u"x INSTALL_SILENT=1 INSTALLCFG=C:\\cfg\\install.cfg", true}};
    for (const auto& [commandLine, shown] : cases) {
        simulated::Machine machine;
        addConfigFiles(machine, "", "bogus=1");
        const simulated::Running running(machine);
        const MSIHANDLE session = machine.installer.openSession({{u"MSICMDLINE", commandLine}});
        EXPECT_EQ(loadMsiPropertiesFromConfig(session), 61015u);
        EXPECT_EQ(!machine.desktop.messageBoxes.empty(), shown) << tstrings::toUtf8(commandLine);
    }
}

TEST(ConfigAction, RefusedPropertiesAreLogged) {
    simulated::Machine machine;
    addConfigFiles(machine, "INSTALLDIR=C:\\x", "");
    const simulated::Running running(machine);
    const MSIHANDLE session = machine.installer.openSession();
    machine.calls.failCall("MsiSetPropertyW", 1, 87);
    EXPECT_EQ(loadMsiPropertiesFromConfig(session), ERROR_SUCCESS);
    EXPECT_TRUE(logHas(machine, "REMOVEOLDERQVRS is NOT set. MsiSetProperty failed with 87"));
    EXPECT_EQ(machine.installer.property(session, u"INSTALLDIR"), u"C:\\x");

    const MSIHANDLE other = machine.installer.openSession();
    machine.calls.failCall("MsiSetPropertyW", 2, 1608);
    EXPECT_EQ(loadMsiPropertiesFromConfig(other), 1608u);
    EXPECT_TRUE(logHas(machine, "INSTALLDIR is NOT set. MsiSetProperty failed with 1608"));
}

}  // namespace
