#include <algorithm>

#include "common/share/Logger.h"
#include "unit/managers/Family.h"
#include "windows/installerdll/RegInstallShare.h"

using namespace family;

namespace {

using Posts = std::vector<std::vector<std::uint8_t>>;

const Posts kStartAndEnd = {{6, 0, 0, 0, 1, 0, 0, 0}, {6, 0, 0, 0, 2, 0, 0, 0}};
const tstring kHome = _T("C:\\Norv\\r64-17");

/// A machine where the installer of "r64:17" has just left its temporary files.
struct ProductUpdate : Family {
    ProductUpdate() : Family("r64:17") {
        for (const TCHAR* name : {_T("\\core.zip"), _T("\\patchqvr.exe"), _T("\\tools.zip")}) {
            machine.volumes.addFile(kHome + name);
        }
        machine.sharedMemory.observeFlushes(
            [this](const std::string& name, const std::vector<std::uint8_t>& bytes) {
                EXPECT_EQ(name, "PmtOperationSequenceSharedMemory");
                posts.push_back(bytes);
            });
    }
    void run() { EXPECT_TRUE(InstallNorv(listed, product("r64:17"), config)); }

    Posts posts;
};

TEST(InstallNorv, UpdatesAndCleansUpWhileItsOperationRuns) {
    ProductUpdate pc;
    pc.machine.volumes.setReadOnly(kHome + _T("\\core.zip"));
    pc.machine.volumes.lock(kHome + _T("\\tools.zip"));
    pc.run();
    EXPECT_EQ(pc.tree(kVendor), "QVR=17{17}");
    EXPECT_EQ(pc.files(kHome), "tools.zip") << "in use, which is no failure";
    EXPECT_EQ(pc.posts, kStartAndEnd);
    EXPECT_FALSE(pc.machine.sharedMemory.content("PmtOperationSequenceSharedMemory"));
    EXPECT_TRUE(logHas(pc.machine, "InstallNorv(17)"));
    EXPECT_TRUE(logHas(pc.machine, "Entering CleanupTempFiles"));
    EXPECT_EQ(pc.errors(), Strings());
}

TEST(InstallNorv, SurvivesWhateverFails) {
    ProductUpdate noManager;
    noManager.machine.registry.denyWrite(View::Bits64, _T("HKLM"));
    noManager.machine.volumes.remove(kMenu);
    noManager.run();
    const auto records = logRecords(noManager.machine);
    EXPECT_EQ(std::ranges::count(records, "`anonymous-namespace'::handleProduct::operator ()",
                                 &LogRecord::function),
              4);
    EXPECT_EQ(noManager.files(kHome), "");
    EXPECT_EQ(noManager.posts, kStartAndEnd);

    ProductUpdate noChannel;
    noChannel.machine.calls.failAll("MapViewOfFile");
    noChannel.run();
    EXPECT_EQ(noChannel.errors().size(), 1u);
    EXPECT_EQ(logRecords(noChannel.machine).back().function, "InstallNorv");
    EXPECT_EQ(logRecords(noChannel.machine).back().file, "RegInstallShare.cpp");
    EXPECT_EQ(noChannel.files(kHome), "core.zip|patchqvr.exe|tools.zip");
    EXPECT_EQ(noChannel.tree(kVendor), "QVR{17}");

    // Nor does a record that can't be composed stop anything.
    struct : LogAppender {
        void append(const LogEvent& event) override {
            failed += event.levelName == _T("ERROR");
            if (event.levelName == _T("ERROR")) {
                throw std::runtime_error("no room for a record");
            }
        }
        int failed = 0;
    } full;
    ProductUpdate noRecords;
    noRecords.machine.registry.denyWrite(View::Bits64, kVendor + _T("\\QVR"));
    noRecords.machine.volumes.remove(kMenu);
    LogAppender* const file = Logger::instance().appender();
    Logger::instance().setAppender(&full);
    noRecords.run();
    Logger::instance().setAppender(file);
    EXPECT_GE(full.failed, 3) << "the registry, the shortcuts and what they were told";
    EXPECT_EQ(noRecords.tree(kAts + _T("\\Dovrin_NorvAssistLink")), "");
    EXPECT_EQ(noRecords.machine.desktop.broadcasts.size(), 1u);
    EXPECT_EQ(noRecords.files(kHome), "");
    EXPECT_EQ(noRecords.posts, kStartAndEnd);

    ProductUpdate listedTwice;
    listedTwice.listed.push_back(listedTwice.listed[0]);
    listedTwice.run();
    EXPECT_EQ(listedTwice.errors().size(), 1u);
    EXPECT_EQ(listedTwice.tree(kVendor), "QVR{17}");
    EXPECT_EQ(listedTwice.files(kHome), "");
}

}  // namespace
