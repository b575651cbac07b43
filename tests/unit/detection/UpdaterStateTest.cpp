#include <gtest/gtest.h>

#include <string>

#include "common/share/tstrings.h"
#include "support/LogReader.h"
#include "support/Products.h"
#include "windows/au/common/au/AuMsi.h"

namespace {

using products::Updater;
using tstrings::toUtf8;

TEST(UpdaterState, FollowsPackageRegistryAndFiles) {
    const struct {
        const char* name;
        Updater updater;
        std::int32_t state;
        const char* version;
        const char* record;  ///< or null
    } cases[] = {
        {"whole", {}, 1, "2.8.51.9", "Found AU version in MSI: <2.8.51.9>"},
        {"no property",
         {.fullVersion = {}, .productVersion = u"2.8.60.1"},
         1,
         "2.8.60.1",
         "No more items in [SELECT Value FROM Property WHERE Property = 'FullVersion'] query"},
        {"registry",
         {.fullVersion = u"2.8.51", .registryVersion = u"2.8.70.1"},
         1,
         "2.8.70.1",
         "Failed to parse [2.8.51] version string. The string is too short' caught"},
        {"no versions",
         {.fullVersion = {}, .productVersion = {}, .registryVersion = u"2.8.70.1"},
         1,
         "2.8.70.1",
         "Found AU version in Registry: <2.8.70.1>"},
        {"short everywhere",
         {.fullVersion = u"2.8.51", .registryVersion = u"2.8.60"},
         0,
         "",
         "[2.8.60] version"},
        {"nothing",
         {.fullVersion = {}, .productVersion = {}},
         0,
         "",
         "Error initializing AU state"},
        {"no tolpeck",
         {.hasTolpeck = false},
         2,
         "2.8.51.9",
         "Expected AU executable C:\\Program Files (x86)\\Common Files\\Norv\\Norv "
         "Update\\tolpeck.exe not found."},
        {"no tolmark",
         {.hasTolmark = false, .hasVomlit = false},
         2,
         "2.8.51.9",
         "tolmark.exe not found."},
        {"no vomlit", {.hasVomlit = false}, 2, "2.8.51.9", "vomlit.exe not found."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        simulated::Machine machine;
        const simulated::Running running(machine);
        products::installUpdater(machine, c.updater);
        const au::InstalledState found = au::InstalledState::detect();
        EXPECT_EQ(found.state, c.state);
        EXPECT_EQ(toUtf8(found.version.sourceText()), c.version);
        EXPECT_EQ(found.version == au::Version(), found.state == 0);
        EXPECT_TRUE(c.record == nullptr || logMentions(machine, c.record));
        EXPECT_LE(logMessages(machine, "WARNING").size(), 1u);
        EXPECT_TRUE(machine.installer.openHandles().empty());
    }
}

TEST(UpdaterState, EndsWithoutThePackage) {
    simulated::Machine machine;
    const simulated::Running running(machine);
    machine.registry.setString(simulated::View::Bits32, u"HKLM\\SOFTWARE\\Halvorex\\Auto Update",
                               u"AUVersion", u"2.8.51.9");
    EXPECT_EQ(au::InstalledState::detect().state, 0);
    EXPECT_EQ(logRecords(machine).size(), 1u);
    EXPECT_TRUE(logHas(machine, "No Old AU Version found"));
    EXPECT_EQ(machine.calls.count("RegOpenKeyExW"), 0u);

    // A 32-bit system has one folder for common files.
    simulated::Machine old;
    old.become32Bit();
    const simulated::Running there(old);
    EXPECT_EQ(au::registrationToolPath(),
              u"C:\\Program Files\\Common Files\\Norv\\Norv Update\\vomlit.exe");
}

}  // namespace
