#include "windows/au/common/au/AuMsi.h"

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Updater.h"

namespace {

using au::InstalledState;
using simulated::Machine;
using tstrings::toUtf8;

struct Installed {
    const char* name;
    updater::Updater updater;
    int state = InstalledState::kComplete;
    std::string version = "2.8.51.9";
    const char* record;
};

const Installed kInstalled[] = {
    {.name = "the full version of the package wins",
     .updater = {.productVersion = u"1"},
     .record = "Found AU version in MSI: <2.8.51.9>"},
    {.name = "an empty full version",
     .updater = {.fullVersion = u"", .productVersion = u"02.8.60.1.7"},
     .version = "02.8.60.1.7",
     .record = "Found AU version in MSI: <02.8.60.1.7>"},
    {.name = "no full version",
     .updater = {.fullVersion = std::nullopt},
     .record = "No more items in [SELECT Value FROM Property W"},
    {.name = "a full version that is too short",
     .updater = {.fullVersion = u"2.8.51", .registryVersion = u"2.8.70.1"},
     .version = "2.8.70.1",
     .record = "[2.8.51] version string. The string is too"},
    {.name = "a package without a version",
     .updater = {.fullVersion = std::nullopt,
                 .productVersion = std::nullopt,
                 .registryVersion = u"2.8.70.1"},
     .version = "2.8.70.1",
     .record = "Found AU version in Registry: <2.8.70.1>"},
    {.name = "neither version is one",
     .updater = {.fullVersion = u"2.8.51.9.", .registryVersion = u"2.8.51.9.7.1"},
     .state = InstalledState::kNotInstalled,
     .version = "",
     .record = "characters is 2"},
    {.name = "no version",
     .updater = {.fullVersion = std::nullopt, .productVersion = std::nullopt},
     .state = InstalledState::kNotInstalled,
     .version = "",
     .record = "Error initializing AU state"},
    {.name = "no tolpeck.exe",
     .updater = {.missingExecutable = "tolpeck"},
     .state = InstalledState::kIncomplete,
     .record = "Expected AU executable C:\\Program Files (x86)\\Common Files\\Norv\\Norv "
               "Update\\tolpeck.exe not found."},
    {.name = "no tolmark.exe",
     .updater = {.missingExecutable = "tolmark"},
     .state = InstalledState::kIncomplete,
     .record = "tolmark.exe not found."},
    {.name = "no vomlit.exe",
     .updater = {.missingExecutable = "vomlit"},
     .state = InstalledState::kIncomplete,
     .record = "vomlit.exe not found."},
};

TEST(UpdaterState, FollowsPackageRegistryAndFiles) {
    for (const auto& c : kInstalled) {
        SCOPED_TRACE(c.name);
        Machine machine;
        const simulated::Running running(machine);
        updater::install(machine, c.updater);
        const InstalledState found = InstalledState::detect();
        EXPECT_EQ(found.state, c.state);
        EXPECT_EQ(toUtf8(found.version.sourceText()), c.version);
        EXPECT_TRUE(logMentions(machine, c.record));
    }
}

TEST(UpdaterState, TakesADirectoryForAnExecutable) {
    Machine machine;
    const simulated::Running running(machine);
    updater::install(machine, {.missingExecutable = "vomlit"});
    machine.volumes.addDirectory(updater::kTool);
    EXPECT_EQ(InstalledState::detect().state, InstalledState::kComplete);
}

TEST(UpdaterState, IsEmptyWithoutTheProduct) {
    Machine machine;
    const simulated::Running running(machine);
    EXPECT_EQ(InstalledState::detect().state, InstalledState::kNotInstalled);
    EXPECT_EQ(logMessages(machine, "TRACE"), std::vector<std::string>{"No Old AU Version found"});
}

TEST(RegistrationTool, IsInTheOneCommonDirectoryOfA32BitWindows) {
    Machine machine;
    machine.become32Bit();
    const simulated::Running running(machine);
    EXPECT_EQ(au::registrationToolPath(),
              u"C:\\Program Files\\Common Files\\Norv\\Norv Update\\vomlit.exe");
}

}  // namespace
