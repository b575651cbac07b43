#include "windows/customactions/ReservedLocation.h"

#include <algorithm>

#include "support/Thrown.h"
#include "unit/windows/customactions/ActionTest.h"
#include "windows/customactions/ActionFrame.h"

namespace {

using tstrings::toUtf8;

const tstring kLatest = u"C:\\Program Files\\Norv\\latest";
const tstring kEntry = kLatest + u"\\qvk-21";

class ReservedLocation : public ActionTest {
protected:
    UINT checkOccupied() { return runInFullFrame("f", session, checkReservedLocationOccupied); }
    UINT checkReserved() { return runInFullFrame("f", session, checkInstallDirReserved); }

    /// The message of the exception that ended the action, without its place; empty if none did.
    std::string refusal() {
        const std::vector<std::string> errors = logMessages(machine, "ERROR");
        if (errors.empty()) {
            return "";
        }
        const std::string& last = errors.back();
        return last.substr(last.find("(): ") + 4);
    }
};

TEST_F(ReservedLocation, IsNotOccupiedByAReparsePoint) {
    volumes.addJunction(kEntry, u"C:\\gone");
    EXPECT_EQ(checkOccupied(), 0u);
    EXPECT_EQ(property(u"DIRECTORYOCCUPIED"), u"0");
}

TEST_F(ReservedLocation, IsNotOccupiedWhenItIsEmpty) {
    volumes.addDirectory(kLatest);
    EXPECT_EQ(checkOccupied(), 0u);
    EXPECT_EQ(property(u"DIRECTORYOCCUPIED"), u"0");
}

TEST_F(ReservedLocation, IsOccupiedByAFile) {
    volumes.addFile(kEntry);
    EXPECT_EQ(checkOccupied(), 0u);
    EXPECT_EQ(property(u"DIRECTORYOCCUPIED"), u"1");
}

TEST_F(ReservedLocation, EndsASilentInstallationWhenOccupied) {
    volumes.addFile(kEntry);
    property(u"ISSILENT") = u"1";
    EXPECT_EQ(checkOccupied(), 1603u);
    EXPECT_EQ(property(u"DIRECTORYOCCUPIED"), u"1");
    EXPECT_EQ(refusal(),
              "We have detected that a location already exists. Please clean up that directory and "
              "rerun the installer.' caught");
}

struct InstallDir {
    const char* name;
    tstring directory, isSilent;
    UINT status;
    tstring isReserved;
    std::string refusal = "";
};

const InstallDir kInstallDirs[] = {
    {.name = "no directory", .directory = u"", .isSilent = u"1", .status = 0, .isReserved = u"0"},
    {.name = "a directory whose name begins the location's",
     .directory = u"C:\\Program Files\\Norv\\lates",
     .isSilent = u"1",
     .status = 0,
     .isReserved = u"0"},
    {.name = "the location itself, in a silent installation",
     .directory = kLatest,
     .isSilent = u"1",
     .status = 1603,
     .isReserved = u"1",
     .refusal = "The directory chosen for installation is reserved. Please choose another "
                "location.' caught"},
    {.name = "a directory in it, in lower case",
     .directory = u"c:\\program files\\norv\\latestx\\y",
     .isSilent = u"",
     .status = 0,
     .isReserved = u"1"},
    {.name = "a directory beside it, by its short name",
     .directory = u"C:\\PROGRA~1\\Norv\\qvk-21",
     .isSilent = u"0",
     .status = 0,
     .isReserved = u"1"},
    {.name = "a directory above it, by its short name",
     .directory = u"C:\\PROGRA~1",
     .isSilent = u"",
     .status = 0,
     .isReserved = u"1"},
    {.name = "a name that is no short name",
     .directory = u"C:\\PROGRA~",
     .isSilent = u"",
     .status = 0,
     .isReserved = u"0"},
    {.name = "illegal characters",
     .directory = u"C:\\a|b",
     .isSilent = u"",
     .status = 1603,
     .isReserved = u"0",
     .refusal = "isSamePath: Illegal characters in first arg C:\\a|b' caught"},
};

TEST_F(ReservedLocation, IsReservedWithWhatIsInAndAboveIt) {
    volumes.addDirectory(kLatest);
    for (const auto& c : kInstallDirs) {
        SCOPED_TRACE(c.name);
        clearLog(machine);
        property(u"INSTALLDIR") = c.directory;
        property(u"ISSILENT") = c.isSilent;
        EXPECT_EQ(checkReserved(), c.status);
        EXPECT_EQ(property(u"RESERVEDDIRECTORY"), c.isReserved);
        EXPECT_EQ(refusal(), c.refusal);
    }
}

TEST_F(ReservedLocation, IsFoundBeforeThePropertyIsRead) {
    std::vector<std::string> order;
    machine.calls.observe([&](const std::string& name) { order.push_back(name); });
    checkReserved();
    EXPECT_LT(std::ranges::find(order, "RegQueryValueExW"),
              std::ranges::find(order, "MsiGetPropertyW"));
}

}  // namespace
