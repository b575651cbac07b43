// Deleting and walking: what is in use, read-only, missing, linked or refused.
#include "support/OnMachine.h"
#include "windows/common/FileUtils.h"

namespace {

using namespace FileUtils;
using Lines = std::vector<std::string>;
using Paths = std::vector<tstring>;

struct Deleting : OnMachine {
    simulated::Volumes& disk = machine.volumes;
};

TEST_F(Deleting, FileGoesOrLeavesTheReason) {
    for (const TCHAR* file : {u"C:\\readonly", u"C:\\program", u"C:\\used", u"C:\\denied"}) {
        disk.addFile(file);
    }
    disk.setReadOnly(u"C:\\readonly");
    disk.setAttributes(u"C:\\program", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    disk.lockAsProgram(u"C:\\program");
    disk.lock(u"C:\\used");
    disk.setReadOnly(u"C:\\denied");
    disk.denyWrite(u"C:\\denied");
    const std::string at = "TRACE FileUtils.cpp FileUtils::";
    const std::string discarded = at + "tryDeleteFile: Discarded R/O attribute from [C:\\";
    const std::tuple<const TCHAR*, DWORD, Lines> rows[] = {
        {u"C:\\none", 0, {}},
        {u"C:\\no\\file", 0, {}},
        {u"C:\\readonly",
         0,
         {discarded + "readonly] file",
          at + "`anonymous-namespace'::deleteFileImpl: Deleted [C:\\readonly] file"}},
        {u"C:\\program", ERROR_ACCESS_DENIED, {discarded + "program] file"}},
        {u"C:\\used", ERROR_SHARING_VIOLATION, {}},
        {u"C:\\denied",
         ERROR_ACCESS_DENIED,
         {"WARNING FileUtils.cpp FileUtils::tryDeleteFile: Failed to discard R/O attribute from "
          "[C:\\denied] file. File will not be deleted. "
          "System error [5](system error 5 (Access is denied))"}},
        {u"C:\\Windows", ERROR_ACCESS_DENIED, {}},
    };
    for (const auto& [path, status, lines] : rows) {
        EXPECT_EQ(tryDeleteFile(path), status == 0);
        if (status != 0) {
            EXPECT_EQ(GetLastError(), status);
        }
        EXPECT_EQ(log(), lines);
    }
    EXPECT_EQ(disk.attributes(u"C:\\program"), DWORD{FILE_ATTRIBUTE_HIDDEN});
}

TEST_F(Deleting, TreeGoesPastWhatStaysAndThroughJunctions) {
    for (const TCHAR* file : {u"C:\\t\\a\\1", u"C:\\t\\a\\2", u"C:\\t\\3", u"C:\\else\\4"}) {
        disk.addFile(file);
    }
    disk.addJunction(u"C:\\t\\link", u"C:\\else");
    disk.lock(u"C:\\t\\a\\1");
    EXPECT_FALSE(deleteAll(u"C:\\t\\a\\2"));
    EXPECT_FALSE(deleteFiles(u"C:\\t\\a"));
    EXPECT_TRUE(deleteFiles(u"C:\\t"));
    EXPECT_TRUE(disk.exists(u"C:\\else\\4"));
    EXPECT_FALSE(deleteAll(u"C:\\t"));
    EXPECT_EQ(disk.files(u"C:\\t"), Paths{u"C:\\t\\a\\1"});
    EXPECT_TRUE(disk.isDirectory(u"C:\\else"));
    EXPECT_EQ(disk.files(u"C:\\else"), Paths());
    disk.unlock(u"C:\\t\\a\\1");
    EXPECT_TRUE(deleteAll(u"C:\\t"));
    EXPECT_TRUE(deleteAll(u"C:\\t")) << "of what is missing";
    EXPECT_TRUE(tryDeleteDirectory(u"C:\\t"));
    machine.calls.failCall("FindFirstFileW", 1, ERROR_FILE_NOT_FOUND);  // an empty drive
    EXPECT_TRUE(deleteFiles(u"C:\\else"));
}

/// The rest is left to the restart, which takes only empty directories. A folder that can't be
/// listed keeps nothing else from it, and nothing is thrown.
TEST_F(Deleting, BatchLeavesTheRestToTheRestart) {
    for (const TCHAR* path :
         {u"C:\\t\\a\\used", u"C:\\t\\b\\hidden", u"C:\\t\\c\\used", u"C:\\file"}) {
        disk.addFile(path);
        disk.lock(path);
    }
    disk.denyRead(u"C:\\t\\b");
    Deleter().appendTree(u"C:\\t").appendFile(u"C:\\file");
    EXPECT_TRUE(disk.delayedMoves().empty());
    clearLog(machine);
    machine.calls.failCall("MoveFileExW", 7, ERROR_ACCESS_DENIED);
    Deleter(true).appendTree(u"C:\\t").appendFile(u"C:\\file").appendTree(u"C:\\file").execute();
    EXPECT_EQ(
        logMessages(machine, "TRACE"),
        (Lines{"Delete 'C:\\file' file on reboot", "Delete 'C:\\t\\c\\used' file on reboot",
               "Delete 'C:\\t\\c' folder on reboot", "Delete 'C:\\t\\b' folder on reboot",
               "Delete 'C:\\t\\a\\used' file on reboot", "Delete 'C:\\t\\a' folder on reboot"}));
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 3u);
    machine.restart();
    EXPECT_EQ(disk.files(u"C:\\t"), Paths{u"C:\\t\\b\\hidden"});
    EXPECT_FALSE(disk.exists(u"C:\\file"));
}

}  // namespace
