// What the installer sees of every action: its status, both logs, the pause for a debugger.
#include "windows/customactions/ActionFrame.h"

#include "common/share/tstrings.h"
#include "support/LibraryProcess.h"
#include "support/OnMachine.h"

namespace {

using simulated::Machine;
using Strings = std::vector<std::string>;

/// Calls an action that fails and checks that the log ends with that.
void expectFailure(Machine& machine, const std::string& action, UINT status) {
    LibraryProcess process(machine);
    machine.calls.failAll("MsiGetPropertyW");
    EXPECT_EQ(process.call(action.c_str(), machine.installer.openSession()), status);
    const auto records = logRecords(machine);
    ASSERT_GE(records.size(), 3u);
    const LogRecord& error = records[records.size() - 2];
    EXPECT_EQ(error.level, "ERROR");
    EXPECT_EQ(error.file, "CustomActions.cpp");
    EXPECT_EQ(error.function, action);
    EXPECT_EQ(records.back().line, 0);
    EXPECT_EQ(records.back().message, "Exiting " + action + " (entered at CustomActions.cpp:" +
                                          std::to_string(records[0].line) + ")");
}

TEST(ActionFrame, LogsAFailureAndReturnsItsStatus) {
    Machine machine;
    expectFailure(machine, "MSIValidateInstallDir", 1627);
    EXPECT_EQ(machine.installer.log().size(), 0u);
}

TEST(ActionFrame, ReturnsSuccessForAFailedImpersonation) {
    Machine machine;
    expectFailure(machine, "MSISetImpersonate", 0);
}

TEST(ActionFrame, CopiesTheRecordsOfSomeActionsToTheInstallersLog) {
    Machine machine;
    expectFailure(machine, "checkIfInstallDirReserved", 1603);
    EXPECT_EQ(machine.installer.log().size(), logRecords(machine).size());
}

class AnyFrame : public OnMachine {
protected:
    const MSIHANDLE session = machine.installer.openSession();
};

TEST_F(AnyFrame, TakesExceptionsOfAnyType) {
    EXPECT_EQ(runInPlainFrame("plain", 7, []() -> UINT { throw 1; }), 7u);
    EXPECT_EQ(runInFullFrame("full", session, [](msi::CA&) { throw 1; }), 1603u);
    EXPECT_EQ(logMessages(machine, "ERROR"), Strings(2, "Unknown exception caught"));
}

TEST_F(AnyFrame, EndsTheActionWhenNothingCanBeLogged) {
    machine.calls.failAll("MsiCreateRecord");
    EXPECT_EQ(runInFullFrame("full", session, [](msi::CA&) {}), 1603u);
}

TEST(DebugBreak, PausesActionsWithTheFullWrapperThatTheVariableNames) {
    const struct {
        const char* name;
        tstring variable;
        Strings expected = {};
    } cases[] = {
        {.name = "empty", .variable = u""},
        {.name = "all",
         .variable = u"*",
         .expected = {"checkIfReservedLocationOccupied", "checkIfInstallDirReserved"}},
        {.name = "one of a list",
         .variable = u"x;checkIfInstallDirReserved",
         .expected = {"checkIfInstallDirReserved"}},
        {.name = "in another case", .variable = u"checkifinstalldirreserved"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Machine machine;
        machine.facts.environment[u"PMT_CA_DEBUG_BREAK"] = c.variable;
        LibraryProcess process(machine);
        Strings paused;
        for (const char* action : {"MSIIsLocalSystemSupported", "checkIfReservedLocationOccupied",
                                   "checkIfInstallDirReserved"}) {
            machine.desktop.messageBoxes.clear();
            EXPECT_EQ(process.call(action, machine.installer.openSession()), 0u);
            paused.insert(paused.end(), machine.desktop.messageBoxes.size(), action);
        }
        EXPECT_EQ(paused, c.expected);
    }
}

TEST(DebugBreak, ShowsABox) {
    Machine machine;
    machine.facts.environment[u"PMT_CA_DEBUG_BREAK"] = u"*";
    LibraryProcess process(machine);
    process.call("checkIfInstallDirReserved", machine.installer.openSession());
    const simulated::MessageBox box = machine.desktop.messageBoxes.at(0);
    EXPECT_EQ(withoutLines(tstrings::toUtf8(box.text)),
              "CustomActions.cpp at checkIfInstallDirReserved(): debug break. Reason: environment "
              "variable PMT_CA_DEBUG_BREAK is set.");
    EXPECT_EQ(box.caption, u"Norv installer: norvca.dll");
    EXPECT_EQ(box.type, UINT{MB_ICONINFORMATION | MB_TASKMODAL | MB_SETFOREGROUND | MB_TOPMOST});
}

}  // namespace
