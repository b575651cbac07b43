#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Products.h"
#include "windows/au/common/au/AuMsi.h"

namespace {

TEST(UpdaterState, FollowsPackageRegistryAndFiles) {
    const std::nullopt_t none = std::nullopt;  // no such property or value
    const struct {
        products::Updater updater;
        std::string found;  // state and version
        const char* record;
    } cases[] = {
        {{u"2.8.51.9", u"1"}, "1 2.8.51.9", "Found AU version in MSI: <2.8.51.9>"},
        {{u"", u"2.8.60.1"}, "1 2.8.60.1", ""},
        {{none, u"2.8.60.1"}, "1 2.8.60.1", "No more items in [SELECT Value FROM Property W"},
        {{u"2.8.51", none, u"2.8.70.1"}, "1 2.8.70.1", "Failed to parse [2.8.51] version string."},
        {{none, none, u"2.8.70.1"}, "1 2.8.70.1", "Found AU version in Registry: <2.8.70.1>"},
        {{u"2.8.51", none, u"2.8.60"}, "0 ", "[2.8.60] version"},
        {{none, none}, "0 ", "Error initializing AU state"},
        {{none, none}, "0 ", "Auto Update) error"},
        {{.missing = "tolpeck"}, "2 2.8.51.9", "Expected AU executable C:\\Program Fi"},
        {{.missing = "tolmark"},
         "2 2.8.51.9",
         " (x86)\\Common Files\\Norv\\Norv Update\\tolmark.exe not found."},
        {{.missing = "vomlit"}, "2 2.8.51.9", "vomlit.exe not found."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.record);
        simulated::Machine machine;
        const simulated::Running running(machine);
        products::installUpdater(machine, c.updater);
        const au::InstalledState found = au::InstalledState::detect();
        EXPECT_EQ(std::to_string(found.state) + " " + tstrings::toUtf8(found.version.sourceText()),
                  c.found);
        EXPECT_EQ(found.version == au::Version(), found.state == 0);
        EXPECT_TRUE(logMentions(machine, c.record));
    }
}

TEST(UpdaterState, EndsWithoutThePackage) {
    simulated::Machine machine;
    machine.become32Bit();  // one folder for common files
    const simulated::Running running(machine);
    EXPECT_EQ(au::InstalledState::detect().state, 0);
    EXPECT_EQ(logMessages(machine, "TRACE"), std::vector<std::string>{"No Old AU Version found"});
    EXPECT_EQ(machine.calls.count("RegOpenKeyExW"), 0u);
    EXPECT_EQ(au::registrationToolPath(),
              u"C:\\Program Files\\Common Files\\Norv\\Norv Update\\vomlit.exe");
}

}  // namespace
