#include "windows/customactions/ReservedLocation.h"

#include <algorithm>

#include "support/Thrown.h"
#include "unit/windows/customactions/ActionTest.h"

namespace {

const tstring kLatest = u"C:\\Program Files\\Norv\\latest";
const tstring kEntry = kLatest + u"\\qvk-21";

class ReservedLocation : public ActionTest {
protected:
    /// Runs an action and returns the message of the exception that ends it, or "nothing".
    std::string refusal(void (*action)(msi::CA&)) {
        UINT status = 0;
        msi::CAImpl ca(session, status);
        return thrownText([&] { action(ca); });
    }
};

TEST_F(ReservedLocation, IsNotOccupiedByAReparsePoint) {
    volumes.addJunction(kEntry, u"C:\\gone");
    EXPECT_EQ(refusal(checkReservedLocationOccupied), "nothing");
    EXPECT_EQ(property(u"DIRECTORYOCCUPIED"), u"0");
}

TEST_F(ReservedLocation, IsNotOccupiedWhenItIsEmpty) {
    volumes.addDirectory(kLatest);
    EXPECT_EQ(refusal(checkReservedLocationOccupied), "nothing");
    EXPECT_EQ(property(u"DIRECTORYOCCUPIED"), u"0");
}

TEST_F(ReservedLocation, IsOccupiedByAFile) {
    volumes.addFile(kEntry);
    EXPECT_EQ(refusal(checkReservedLocationOccupied), "nothing");
    EXPECT_EQ(property(u"DIRECTORYOCCUPIED"), u"1");
}

TEST_F(ReservedLocation, EndsASilentInstallationWhenOccupied) {
    volumes.addFile(kEntry);
    property(u"ISSILENT") = u"1";
    EXPECT_EQ(refusal(checkReservedLocationOccupied),
              "We have detected that a location already exists. Please clean up that directory and "
              "rerun the installer.");
    EXPECT_EQ(property(u"DIRECTORYOCCUPIED"), u"1");
}

struct InstallDir {
    const char* name;
    tstring directory;
    tstring isSilent = {};
    tstring isReserved = u"0";
    std::string refusal = "nothing";
};

const InstallDir kInstallDirs[] = {
    {.name = "no directory", .directory = u"", .isSilent = u"1"},
    {.name = "a directory whose name begins the location's",
     .directory = u"C:\\Program Files\\Norv\\lates",
     .isSilent = u"1"},
    {.name = "the location itself, in a silent installation",
     .directory = kLatest,
     .isSilent = u"1",
     .isReserved = u"1",
     .refusal = "The directory chosen for installation is reserved. Please choose another "
                "location."},
    {.name = "a directory in it, in lower case",
     .directory = u"c:\\program files\\norv\\latestx\\y",
     .isReserved = u"1"},
    {.name = "a directory beside it, by its short name",
     .directory = u"C:\\PROGRA~1\\Norv\\qvk-21",
     .isSilent = u"0",
     .isReserved = u"1"},
    {.name = "a directory above it, by its short name",
     .directory = u"C:\\PROGRA~1",
     .isReserved = u"1"},
    {.name = "a name that is no short name", .directory = u"C:\\PROGRA~"},
    {.name = "illegal characters",
     .directory = u"C:\\a|b",
     .refusal = "isSamePath: Illegal characters in first arg C:\\a|b"},
};

TEST_F(ReservedLocation, IsReservedWithWhatIsInAndAboveIt) {
    volumes.addDirectory(kLatest);
    for (const auto& c : kInstallDirs) {
        SCOPED_TRACE(c.name);
        property(u"RESERVEDDIRECTORY") = u"0";
        property(u"INSTALLDIR") = c.directory;
        property(u"ISSILENT") = c.isSilent;
        EXPECT_EQ(refusal(checkInstallDirReserved), c.refusal);
        EXPECT_EQ(property(u"RESERVEDDIRECTORY"), c.isReserved);
    }
}

TEST_F(ReservedLocation, IsFoundBeforeThePropertyIsRead) {
    std::vector<std::string> order;
    machine.calls.observe([&](const std::string& name) { order.push_back(name); });
    refusal(checkInstallDirReserved);
    EXPECT_LT(std::ranges::find(order, "RegQueryValueExW"),
              std::ranges::find(order, "MsiGetPropertyW"));
}

}  // namespace
