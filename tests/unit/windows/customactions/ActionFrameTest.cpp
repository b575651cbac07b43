// What the installer sees of every action: its status, both logs, the pause for a debugger.
#include "windows/customactions/ActionFrame.h"

#include "common/share/tstrings.h"
#include "support/LibraryProcess.h"
#include "support/OnMachine.h"

namespace {

using simulated::Machine;
using tstrings::toUtf8;

TEST(ActionFrame, TurnsFailuresIntoStatuses) {
    const std::tuple<std::string, const char*, UINT> cases[] = {
        {"MSIValidateInstallDir", "MsiGetPropertyW", 1627},
        {"MSIIsLocalSystemSupported", "OpenProcessToken", 1627},
        {"MSISetImpersonate", "MsiGetPropertyW", 0},
        {"MSIRemoveFoldersOnReboot", "MsiGetPropertyW", 1627},
        {"MSILoadMsiPropertiesFromConfig", "MsiGetPropertyW", 1627},
        {"SetLatestQvr", "MsiGetPropertyW", 1627},
        {"DisableVomlitExe", "SHGetFolderPathW", 1627},
        {"RestoreVomlitExe", "MsiGetPropertyW", 1627},
        {"DisableAUUninstall", "MsiGetActiveDatabase", 1627},
        {"checkIfReservedLocationOccupied", "MsiSetPropertyW", 1603},
        {"checkIfInstallDirReserved", "MsiGetPropertyW", 1603}};
    for (const auto& [action, failing, status] : cases) {
        SCOPED_TRACE(action);
        Machine machine;
        LibraryProcess process(machine);
        machine.calls.failAll(failing);
        EXPECT_EQ(process.call(action.c_str(), machine.installer.openSession()), status);
        const auto records = logRecords(machine);
        ASSERT_GE(records.size(), 3u);
        const LogRecord& error = records.end()[-2];
        EXPECT_EQ(error.level + " " + error.file + " " + error.function,
                  "ERROR CustomActions.cpp " + action);
        EXPECT_EQ(records.back().message, "Exiting " + action + " (entered at CustomActions.cpp:" +
                                              std::to_string(records[0].line) + ")");
        EXPECT_EQ(machine.installer.log().size(), status == 1603 ? records.size() : 0u);
    }
}

TEST(ActionFrame, TakesExceptionsOfAnyType) {
    Machine machine;
    const simulated::Running running(machine);
    const MSIHANDLE session = machine.installer.openSession();
    EXPECT_EQ(runInPlainFrame("plain", 7, []() -> UINT { throw 1; }), 7u);
    EXPECT_EQ(runInFullFrame("full", session, [](msi::CA&) { throw 1; }), 1603u);
    EXPECT_EQ(logMessages(machine, "ERROR"),
              std::vector<std::string>(2, "Unknown exception caught"));
    // Nothing can be logged.
    machine.calls.failAll("MsiCreateRecord");
    EXPECT_EQ(runInFullFrame("full", session, [](msi::CA&) {}), 1603u);
}

TEST(ActionFrame, PausesForADebugger) {
    const auto box = [](const std::string& action) {
        return "CustomActions.cpp at " + action +
               "(): debug break. Reason: environment variable PMT_CA_DEBUG_BREAK is set.|";
    };
    const std::string occupied = box("checkIfReservedLocationOccupied");
    const std::string reserved = box("checkIfInstallDirReserved");
    const std::pair<const char16_t*, std::string> cases[] = {
        {u"", ""},
        {u"*", occupied + reserved},
        {u"checkIfInstallDirReserved", reserved},
        {u"checkifinstalldirreserved", ""},
        {u"x;checkIfInstallDirReserved,checkIfReservedLocationOccupied", occupied + reserved}};
    for (const auto& [value, expected] : cases) {
        Machine machine;
        machine.facts.environment[u"PMT_CA_DEBUG_BREAK"] = value;
        LibraryProcess process(machine);
        for (const char* action : {"MSIIsLocalSystemSupported", "checkIfReservedLocationOccupied",
                                   "checkIfInstallDirReserved"}) {
            EXPECT_EQ(process.call(action, machine.installer.openSession()), 0u);
        }
        std::string shown;
        for (const auto& [text, caption, type] : machine.desktop.messageBoxes) {
            shown += withoutLines(toUtf8(text)) + "|";
            EXPECT_EQ(caption, u"Norv installer: norvca.dll");
            EXPECT_EQ(type, 0x52040u);
        }
        EXPECT_EQ(shown, expected);
    }
}

}  // namespace
