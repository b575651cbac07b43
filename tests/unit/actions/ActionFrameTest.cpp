// What the installer sees of the actions: statuses, both logs, the debug pause, the reserved place.
#include "windows/customactions/ActionFrame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "common/share/tstrings.h"
#include "simulated/machine/Machine.h"
#include "support/LibraryProcess.h"
#include "support/LogReader.h"
#include "support/OnMachine.h"

namespace {

using simulated::Machine;
using tstrings::toUtf8;

const std::u16string kLatest = u"C:\\Program Files\\Norv\\latest";

UINT call(Machine& machine, const char* action, MSIHANDLE session) {
    LibraryProcess process(machine);
    return process.call(action, session);
}

TEST(ActionFrame, TurnsFailuresIntoStatuses) {
    const struct {
        const char* action;
        const char* failing;
        UINT status;
    } cases[] = {{"MSIValidateInstallDir", "MsiGetPropertyW", 1627},
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
    for (const auto& c : cases) {
        SCOPED_TRACE(c.action);
        Machine machine;
        machine.facts.environment[u"PMT_CA_DEBUG_BREAK"] = u"";
        const MSIHANDLE session = machine.installer.openSession();
        machine.calls.failAll(c.failing);
        EXPECT_EQ(call(machine, c.action, session), c.status);
        const auto records = logRecords(machine);
        ASSERT_GE(records.size(), 3u);
        const LogRecord& error = records.end()[-2];
        EXPECT_EQ(error.level + " " + error.file + " " + error.function,
                  std::string("ERROR CustomActions.cpp ") + c.action);
        EXPECT_EQ(records.back().message,
                  std::string("Exiting ") + c.action +
                      " (entered at CustomActions.cpp:" + std::to_string(records[0].line) + ")");
        EXPECT_EQ(machine.installer.log().size(), c.status == 1603 ? records.size() : 0u);
    }
}

TEST(ActionFrame, TakesExceptionsOfAnyType) {
    Machine machine;
    const simulated::Running running(machine);
    EXPECT_EQ(runInPlainFrame("plain", 7, []() -> UINT { throw 1; }), 7u);
    EXPECT_EQ(runInFullFrame("full", machine.installer.openSession(), [](msi::CA&) { throw 1; }),
              1603u);
    EXPECT_EQ(logMessages(machine, "ERROR"),
              std::vector<std::string>(2, "Unknown exception caught"));
    // Nothing can be logged, and with the full frame no box be shown.
    machine.calls.failAll("MsiCreateRecord");
    EXPECT_EQ(runInFullFrame("full", machine.installer.openSession(), [](msi::CA&) {}), 1603u);
}

TEST(ActionFrame, PausesForADebugger) {
    const struct {
        const char16_t* value;  ///< null: not set
        bool occupied, reserved;
    } cases[] = {{nullptr, false, false},
                 {u"", false, false},
                 {u"*", true, true},
                 {u"checkIfInstallDirReserved", false, true},
                 {u"checkifinstalldirreserved", false, false},
                 {u"x;checkIfInstallDirReserved,checkIfReservedLocationOccupied", true, true}};
    for (const auto& c : cases) {
        Machine machine;
        if (c.value != nullptr) {
            machine.facts.environment[u"PMT_CA_DEBUG_BREAK"] = c.value;
        }
        const MSIHANDLE session = machine.installer.openSession();
        const auto boxes = [&](const char* action) {
            machine.desktop.messageBoxes.clear();
            EXPECT_EQ(call(machine, action, session), 0u);
            return machine.desktop.messageBoxes;
        };
        EXPECT_EQ(boxes("MSIIsLocalSystemSupported").size(), 0u);
        EXPECT_EQ(boxes("checkIfReservedLocationOccupied").size(), c.occupied ? 1u : 0u);
        const auto shown = boxes("checkIfInstallDirReserved");
        ASSERT_EQ(shown.size(), c.reserved ? 1u : 0u) << toUtf8(c.value ? c.value : u"-");
        if (c.reserved) {
            EXPECT_EQ(withoutLines(toUtf8(shown[0].text)),
                      "CustomActions.cpp at checkIfInstallDirReserved(): debug break. Reason: "
                      "environment variable PMT_CA_DEBUG_BREAK is set.");
            EXPECT_EQ(shown[0].caption, u"Norv installer: norvca.dll");
            EXPECT_EQ(shown[0].type, 0x52040u);
        }
    }
}

/// The status and the property of a reserved-location action: "0 1", with "!" and the refusal.
std::string outcome(Machine& machine, const char* action, const char16_t* property,
                    const std::u16string& silent, const std::u16string& directory = {}) {
    const MSIHANDLE session =
        machine.installer.openSession({{u"ISSILENT", silent}, {u"INSTALLDIR", directory}});
    const UINT status = call(machine, action, session);
    const auto errors = logMessages(machine, "ERROR");
    return std::to_string(status) + " " + toUtf8(machine.installer.property(session, property)) +
           (errors.empty() ? "" : " !" + errors[0].substr(errors[0].find("(): ") + 4));
}

TEST(ReservedLocation, MayHoldAReparsePointAlone) {
    const std::u16string entry = kLatest + u"\\qvk-21";
    const struct {
        std::function<void(simulated::Volumes&)> arrange;
        const char16_t* silent;
        const char* outcome;
    } cases[] = {
        {[&](auto& volumes) { volumes.addFile(kLatest + u"\\qvk-20\\x"); }, u"1", "0 0"},
        {[&](auto& volumes) { volumes.addFile(entry); }, u"yes", "0 1"},
        {[&](auto& volumes) { volumes.addDirectory(entry); }, u"1",
         "1603 1 !We have detected that a location already exists. Please clean up that directory "
         "and rerun the installer.' caught"},
        {[&](auto& volumes) { volumes.addJunction(entry, u"C:\\gone"); }, u"1", "0 0"},
    };
    for (const auto& c : cases) {
        Machine machine;
        c.arrange(machine.volumes);
        EXPECT_EQ(
            outcome(machine, "checkIfReservedLocationOccupied", u"DIRECTORYOCCUPIED", c.silent),
            c.outcome);
    }
}

TEST(ReservedLocation, IsNoInstallDirectory) {
    const struct {
        std::u16string directory;
        const char16_t* silent;
        const char* outcome;
    } cases[] = {
        {u"", u"1", "0 0"},
        {kLatest.substr(0, kLatest.size() - 1), u"1", "0 0"},
        {kLatest, u"1",
         "1603 1 !The directory chosen for installation is reserved. Please choose another "
         "location.' caught"},
        {tstrings::toLower(kLatest) + u"x\\y", u"", "0 1"},
        {u"C:\\PROGRA~1\\Norv\\qvk-21", u"0", "0 1"},
        {u"C:\\PROGRA~1", u"", "0 1"},
        {u"C:\\PROGRA~", u"", "0 0"},
        {u"C:\\a|b", u"", "1603  !isSamePath: Illegal characters in first arg C:\\a|b' caught"},
    };
    for (const auto& c : cases) {
        Machine machine;
        machine.volumes.addDirectory(kLatest);
        EXPECT_EQ(outcome(machine, "checkIfInstallDirReserved", u"RESERVEDDIRECTORY", c.silent,
                          c.directory),
                  c.outcome);
    }
    // The folder comes before the property.
    Machine machine;
    machine.calls.keepOrder(true);
    call(machine, "checkIfInstallDirReserved", machine.installer.openSession());
    const auto& order = machine.calls.order();
    EXPECT_LT(std::ranges::find(order, "RegQueryValueExW"),
              std::ranges::find(order, "MsiGetPropertyW"));
}

}  // namespace
