#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Products.h"
#include "windows/au/common/au/AuMsi.h"

namespace {

using tstrings::toUtf8;

TEST(UpdaterState, FollowsPackageRegistryAndFiles) {
    using Text = std::optional<std::u16string>;
    const struct {
        Text fullVersion, productVersion, registryVersion;  ///< none: no such property or value
        std::string missing;                                ///< executable
        std::int32_t state;
        const char* version;
        const char* record;
    } cases[] = {
        {u"2.8.51.9", u"1", {}, "", 1, "2.8.51.9", "Found AU version in MSI: <2.8.51.9>"},
        {u"", u"2.8.60.1", {}, "", 1, "2.8.60.1", ""},
        {{}, u"2.8.60.1", {}, "", 1, "2.8.60.1", "No more items in [SELECT Value FROM Property W"},
        {u"2.8.51", {}, u"2.8.70.1", "", 1, "2.8.70.1", "Failed to parse [2.8.51] version string."},
        {{}, {}, u"2.8.70.1", "", 1, "2.8.70.1", "Found AU version in Registry: <2.8.70.1>"},
        {u"2.8.51", {}, u"2.8.60", "", 0, "", "[2.8.60] version"},
        {{}, {}, {}, "", 0, "", "Error initializing AU state"},
        {{}, {}, {}, "", 0, "", "Auto Update) error"},
        {u"2.8.51.9", {}, {}, "tolpeck", 2, "2.8.51.9", "Expected AU executable C:\\Program Fi"},
        {u"2.8.51.9",
         {},
         {},
         "tolmark",
         2,
         "2.8.51.9",
         " (x86)\\Common Files\\Norv\\Norv Update\\tolmark.exe not found."},
        {u"2.8.51.9", {}, {}, "vomlit", 2, "2.8.51.9", "vomlit.exe not found."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.record);
        simulated::Machine machine;
        const simulated::Running running(machine);
        products::installUpdater(machine,
                                 {c.fullVersion, c.productVersion, c.registryVersion, c.missing});
        const au::InstalledState found = au::InstalledState::detect();
        EXPECT_EQ(found.state, c.state);
        EXPECT_EQ(toUtf8(found.version.sourceText()), c.version);
        EXPECT_EQ(found.version == au::Version(), found.state == 0);
        EXPECT_TRUE(logMentions(machine, c.record));
    }
}

TEST(UpdaterState, EndsWithoutThePackage) {
    simulated::Machine machine;
    machine.become32Bit();  // one folder for common files
    const simulated::Running running(machine);
    machine.registry.setString(simulated::View::Bits32, u"HKLM\\SOFTWARE\\Halvorex\\Auto Update",
                               u"AUVersion", u"2.8.51.9");
    EXPECT_EQ(au::InstalledState::detect().state, 0);
    EXPECT_EQ(logMessages(machine, "TRACE"), std::vector<std::string>{"No Old AU Version found"});
    EXPECT_EQ(machine.calls.count("RegOpenKeyExW"), 0u);
    EXPECT_EQ(au::registrationToolPath(),
              u"C:\\Program Files\\Common Files\\Norv\\Norv Update\\vomlit.exe");
}

}  // namespace
