// What neither Windows can be asked nor the library's own tests show of files: restarts, an
// ordinary user's rights, faults in the middle of a copy.
#include <windows.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulated/machine/Machine.h"

namespace {

class VolumesTest : public testing::Test {
protected:
    static DWORD statusOf(BOOL done) { return done != FALSE ? ERROR_SUCCESS : GetLastError(); }

    simulated::Machine machine;
    simulated::Running running{machine};
    simulated::Volumes& volumes = machine.volumes;
};

TEST_F(VolumesTest, ARestartCarriesOutTheDelayedMovesInOrder) {
    volumes.addFile(u"C:\\t\\old.dll", "old");
    volumes.addFile(u"C:\\t\\new.tmp", "new");
    volumes.addFile(u"C:\\t\\tree\\f", "f");
    volumes.lock(u"C:\\t\\old.dll");
    volumes.denyWrite(u"C:\\t\\tree\\f");
    constexpr DWORD kDelay = MOVEFILE_DELAY_UNTIL_REBOOT;
    ASSERT_TRUE(
        MoveFileExW(u"c:/t/new.tmp", u"C:\\t\\old.dll", kDelay | MOVEFILE_REPLACE_EXISTING));
    ASSERT_TRUE(MoveFileExW(u"C:\\t\\tree\\f", nullptr, kDelay));
    ASSERT_TRUE(MoveFileExW(u"C:\\t\\tree", nullptr, kDelay));
    EXPECT_EQ("old", volumes.content(u"C:\\t\\old.dll"));
    machine.restart();
    EXPECT_EQ("new", volumes.content(u"C:\\t\\old.dll"));
    EXPECT_EQ(std::vector<std::u16string>{u"C:\\t\\old.dll"}, volumes.files(u"C:\\t"));
    EXPECT_FALSE(volumes.exists(u"C:\\t\\tree"));
    EXPECT_TRUE(volumes.delayedMoves().empty());
}

TEST_F(VolumesTest, AnOrdinaryUserWritesOnlyWhereHeMay) {
    volumes.addFile(u"C:\\Windows\\System32\\f");
    machine.security.becomeOrdinaryUser();
    EXPECT_EQ(5u, statusOf(CreateDirectoryW(u"C:\\Program Files\\made", nullptr)));
    EXPECT_EQ(5u, statusOf(CopyFileW(u"C:\\Windows\\System32\\f", u"C:\\Windows\\g", TRUE)));
    EXPECT_EQ(5u, statusOf(DeleteFileW(u"C:\\Windows\\System32\\f")));
    EXPECT_EQ(0u, statusOf(CreateDirectoryW(u"C:\\Windows\\Temp\\x", nullptr)));
    EXPECT_EQ(5u,
              statusOf(MoveFileExW(u"C:\\Windows\\Temp\\x", nullptr, MOVEFILE_DELAY_UNTIL_REBOOT)));
    EXPECT_EQ(0u, statusOf(RemoveDirectoryW(u"C:\\Windows\\Temp\\x")));
}

TEST_F(VolumesTest, AFaultInACopyMayLeaveAPart) {
    volumes.addDrive(u'D');
    volumes.addFile(u"C:\\f", "content");
    volumes.nextFaultHalvesCopy = true;
    machine.calls.failCall("MoveFileExW", 1);
    EXPECT_FALSE(MoveFileExW(u"C:\\f", u"D:\\f", MOVEFILE_COPY_ALLOWED));
    EXPECT_EQ("con", volumes.content(u"D:\\f"));
    EXPECT_EQ("content", volumes.content(u"C:\\f"));
    machine.calls.failCall("CopyFileW", 1);
    EXPECT_FALSE(CopyFileW(u"C:\\f", u"D:\\g", TRUE));
    EXPECT_FALSE(volumes.exists(u"D:\\g")) << "once only";
}

}  // namespace
