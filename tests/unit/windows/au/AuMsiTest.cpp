#include "windows/au/common/au/AuMsi.h"

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Updater.h"

namespace {

using simulated::View;
using tstrings::toUtf8;
using Lines = std::vector<std::string>;

TEST(UpdaterState, FollowsPackageRegistryAndFiles) {
    const std::nullopt_t none = std::nullopt;  // no such property or value
    const struct {
        updater::Updater updater;
        std::string found;  // state and version
        const char* record;
    } cases[] = {
        {{u"2.8.51.9", u"1"}, "1 2.8.51.9", "Found AU version in MSI: <2.8.51.9>"},
        {{u"", u"02.8.60.1.7"}, "1 02.8.60.1.7", ""},
        {{none, u"2.8.60.1"}, "1 2.8.60.1", "No more items in [SELECT Value FROM Property W"},
        {{u"2.8.51", none, u"2.8.70.1"},
         "1 2.8.70.1",
         "[2.8.51] version string. The string is too"},
        {{none, none, u"2.8.70.1"}, "1 2.8.70.1", "Found AU version in Registry: <2.8.70.1>"},
        {{u"2.8.51.9.", none, u"2.8.51.9.7.1"}, "0 ", "characters is 2"},
        {{none, none}, "0 ", "Auto Update) error"},
        {{none, none}, "0 ", "Error initializing AU state"},
        {{.missingExecutable = "tolpeck"}, "2 2.8.51.9", "Expected AU executable C:\\Program Fi"},
        {{.missingExecutable = "tolmark"}, "2 2.8.51.9", "tolmark.exe not found."},
        {{.missingExecutable = "vomlit"}, "2 2.8.51.9", "vomlit.exe not found."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.record);
        simulated::Machine machine;
        const simulated::Running running(machine);
        updater::install(machine, c.updater);
        const au::InstalledState found = au::InstalledState::detect();
        EXPECT_EQ(std::to_string(found.state) + " " + toUtf8(found.version.sourceText()), c.found);
        EXPECT_EQ(found.version == au::Version(), found.state == 0);
        EXPECT_TRUE(logMentions(machine, c.record));
        if (c.updater.missingExecutable == "vomlit") {
            machine.volumes.addDirectory(updater::kDirectory + u"\\vomlit.exe");
            EXPECT_EQ(au::InstalledState::detect().state, 1) << "a directory counts as present";
        }
    }
    simulated::Machine machine;
    machine.become32Bit();  // one folder for common files
    const simulated::Running running(machine);
    EXPECT_EQ(au::InstalledState::detect().state, 0);
    EXPECT_EQ(logMessages(machine, "TRACE"), Lines{"No Old AU Version found"});
    EXPECT_EQ(au::registrationToolPath(),
              u"C:\\Program Files\\Common Files\\Norv\\Norv Update\\vomlit.exe");
}

}  // namespace
