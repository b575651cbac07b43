#include "support/LogReader.h"
#include "unit/managers/Family.h"
#include "windows/installerdll/RegInstallShare.h"

using namespace family;

namespace {

constexpr const char* kChannel = "PmtOperationSequenceSharedMemory";

/// Runs the update for "r64:17" on a machine where its installer has left its temporary files.
struct ProductUpdate {
    ProductUpdate() {
        pc.put("r64:17");
        for (const TCHAR* name : kLeftovers) {
            pc.machine.volumes.addFile(home + name, "left");
        }
        pc.machine.sharedMemory.observeFlushes(
            [this](const std::string&, const std::vector<std::uint8_t>& bytes) {
                posted.push_back(bytes);
            });
    }

    void run() { EXPECT_TRUE(InstallNorv(pc.listed, product("r64:17"), pc.config)); }
    int leftovers() const {
        return static_cast<int>(std::ranges::count_if(
            kLeftovers, [&](const TCHAR* name) { return pc.machine.volumes.exists(home + name); }));
    }
    int errors() const { return static_cast<int>(logMessages(pc.machine, "ERROR").size()); }

    static constexpr const TCHAR* kLeftovers[] = {_T("core.zip"), _T("patchqvr.exe"),
                                                  _T("tools.zip")};
    const tstring home = _T("C:\\Norv\\r64-17\\");
    Family pc;
    std::vector<std::vector<std::uint8_t>> posted;
};

const std::vector<std::vector<std::uint8_t>> kStartAndEnd = {{6, 0, 0, 0, 1, 0, 0, 0},
                                                             {6, 0, 0, 0, 2, 0, 0, 0}};

TEST(InstallNorv, UpdatesAndCleansUpWhileItsOperationRuns) {
    ProductUpdate update;
    update.pc.machine.volumes.setReadOnly(update.home + _T("core.zip"));
    update.run();
    EXPECT_EQ(update.pc.familyKeys(View::Bits64), "QVR{17}=17");
    EXPECT_EQ(update.leftovers(), 0);
    EXPECT_EQ(update.posted, kStartAndEnd);
    EXPECT_FALSE(update.pc.machine.sharedMemory.content(kChannel)) << "nobody holds the channel";
    EXPECT_TRUE(logHas(update.pc.machine, "InstallNorv(17)"));
    EXPECT_TRUE(logHas(update.pc.machine, "Entering CleanupTempFiles"));
    EXPECT_EQ(update.errors(), 0);

    // A second run finds nothing to delete and says nothing of it; a file in use is no failure.
    update.pc.machine.volumes.addFile(update.home + _T("tools.zip"));
    update.pc.machine.volumes.lock(update.home + _T("tools.zip"));
    const auto records = logRecords(update.pc.machine).size();
    update.run();
    EXPECT_EQ(update.leftovers(), 1);
    EXPECT_EQ(update.errors(), 0);
    const auto all = logRecords(update.pc.machine);
    EXPECT_TRUE(std::none_of(
        all.begin() + static_cast<std::ptrdiff_t>(records), all.end(),
        [](const LogRecord& record) { return record.message.find(".zip") != std::string::npos; }));
}

TEST(InstallNorv, SurvivesWhateverFails) {
    ProductUpdate everyManager;
    auto& machine = everyManager.pc.machine;
    machine.registry.denyWrite(View::Bits64, _T("HKLM"));
    machine.volumes.remove(kMenu);
    const int before = everyManager.errors();
    everyManager.run();
    std::string guards;
    for (const LogRecord& record : logRecords(machine)) {
        if (record.level == "ERROR" && record.function.ends_with("handleProduct::operator ()")) {
            guards += "x";
        }
    }
    EXPECT_EQ(guards, "xxxx");
    EXPECT_GE(everyManager.errors(), before + 4);
    EXPECT_EQ(everyManager.leftovers(), 0);
    EXPECT_EQ(everyManager.posted, kStartAndEnd);

    ProductUpdate noChannel;
    noChannel.pc.machine.calls.failAll("OpenFileMappingA");
    noChannel.run();
    EXPECT_EQ(noChannel.errors(), 1);
    EXPECT_EQ(logRecords(noChannel.pc.machine).back().function, "InstallNorv");
    EXPECT_EQ(noChannel.leftovers(), 3);
    EXPECT_EQ(noChannel.pc.familyKeys(View::Bits64), "QVR{17}=(none)");

    ProductUpdate listedTwice;
    listedTwice.pc.listed.push_back(listedTwice.pc.listed[0]);
    listedTwice.run();
    EXPECT_EQ(listedTwice.errors(), 1);
    EXPECT_EQ(listedTwice.pc.familyKeys(View::Bits64), "QVR{17}=(none)");
    EXPECT_EQ(listedTwice.leftovers(), 0);
    EXPECT_EQ(listedTwice.posted, kStartAndEnd);
}

}  // namespace
