// Deleting and walking: what is in use, read-only, missing, linked or refused.
#include "windows/common/FileUtils.h"

#include "support/OnMachine.h"

namespace {

using namespace FileUtils;
using Lines = std::vector<std::string>;
using Paths = std::vector<tstring>;

class FileUtilsDeleting : public OnMachine {
protected:
    simulated::Volumes& disk = machine.volumes;
};

TEST_F(FileUtilsDeleting, AMissingFileIsDeleted) {
    EXPECT_TRUE(tryDeleteFile(u"C:\\none"));
    EXPECT_TRUE(tryDeleteFile(u"C:\\no\\file"));
    EXPECT_EQ(log(), Lines());
}

TEST_F(FileUtilsDeleting, AReadOnlyFileIsDeleted) {
    disk.addFile(u"C:\\f");
    disk.setReadOnly(u"C:\\f");
    EXPECT_TRUE(tryDeleteFile(u"C:\\f"));
    EXPECT_EQ(log(), (Lines{"TRACE FileUtils.cpp FileUtils::tryDeleteFile: Discarded R/O "
                            "attribute from [C:\\f] file",
                            "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::deleteFileImpl: "
                            "Deleted [C:\\f] file"}));
}

TEST_F(FileUtilsDeleting, AFileThatStaysLosesItsReadOnlyAttribute) {
    disk.addFile(u"C:\\f");
    disk.setAttributes(u"C:\\f", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    disk.lockAsProgram(u"C:\\f");
    EXPECT_FALSE(tryDeleteFile(u"C:\\f"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(disk.attributes(u"C:\\f"), DWORD{FILE_ATTRIBUTE_HIDDEN});
}

TEST_F(FileUtilsDeleting, AFileWhoseAttributeCannotBeChangedStays) {
    disk.addFile(u"C:\\f");
    disk.setReadOnly(u"C:\\f");
    disk.denyWrite(u"C:\\f");
    EXPECT_FALSE(tryDeleteFile(u"C:\\f"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(log(), Lines{"WARNING FileUtils.cpp FileUtils::tryDeleteFile: Failed to discard R/O "
                           "attribute from [C:\\f] file. File will not be deleted. "
                           "System error [5](system error 5 (Access is denied))"});
}

TEST_F(FileUtilsDeleting, AFailureLeavesItsStatusAndNoRecord) {
    disk.addFile(u"C:\\used");
    disk.lock(u"C:\\used");
    EXPECT_FALSE(tryDeleteFile(u"C:\\used"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_FALSE(tryDeleteFile(u"C:\\Windows"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(log(), Lines());
}

/// A directory with two files and a directory with two more, one of them in use.
class FileUtilsDeletingTree : public FileUtilsDeleting {
protected:
    FileUtilsDeletingTree() {
        for (const TCHAR* file : {u"C:\\t\\a\\used", u"C:\\t\\a\\2", u"C:\\t\\3", u"C:\\t\\4"}) {
            disk.addFile(file);
        }
        disk.lock(u"C:\\t\\a\\used");
    }
};

TEST_F(FileUtilsDeletingTree, FilesOfADirectoryAreDeletedWithoutThoseBelow) {
    EXPECT_TRUE(deleteFiles(u"C:\\t"));
    EXPECT_EQ(disk.files(u"C:\\t"), (Paths{u"C:\\t\\a\\2", u"C:\\t\\a\\used"}));
}

TEST_F(FileUtilsDeletingTree, TheRestIsDeletedIfAFileStays) {
    EXPECT_FALSE(deleteFiles(u"C:\\t\\a"));
    EXPECT_FALSE(deleteAll(u"C:\\t"));
    EXPECT_EQ(disk.files(u"C:\\t"), Paths{u"C:\\t\\a\\used"});
    disk.unlock(u"C:\\t\\a\\used");
    EXPECT_TRUE(deleteAll(u"C:\\t"));
    EXPECT_FALSE(disk.exists(u"C:\\t"));
}

TEST_F(FileUtilsDeletingTree, AllIsADirectory) {
    EXPECT_FALSE(deleteAll(u"C:\\t\\3"));
    EXPECT_TRUE(deleteAll(u"C:\\missing"));
    EXPECT_TRUE(tryDeleteDirectory(u"C:\\missing"));
    machine.calls.failCall("FindFirstFileW", 1, ERROR_FILE_NOT_FOUND);  // an empty drive
    EXPECT_TRUE(deleteFiles(u"C:\\t"));
}

TEST_F(FileUtilsDeletingTree, WhatAJunctionLeadsToIsDeletedAndItsTargetStays) {
    disk.addJunction(u"C:\\link\\to", u"C:\\t\\a");
    EXPECT_FALSE(deleteAll(u"C:\\link"));
    EXPECT_EQ(disk.files(u"C:\\t\\a"), Paths{u"C:\\t\\a\\used"});
}

/// Directories whose files are in use, one of which can't be listed, and a file.
class FileUtilsDeletingBatch : public FileUtilsDeleting {
protected:
    FileUtilsDeletingBatch() {
        for (const TCHAR* path :
             {u"C:\\t\\a\\used", u"C:\\t\\b\\hidden", u"C:\\t\\c\\used", u"C:\\file"}) {
            disk.addFile(path);
            disk.lock(path);
        }
        disk.denyRead(u"C:\\t\\b");
    }
};

TEST_F(FileUtilsDeletingBatch, LeavesNothingToTheRestartUnlessRequested) {
    disk.addFile(u"C:\\free");
    Deleter().appendTree(u"C:\\t").appendFile(u"C:\\file").appendFile(u"C:\\free");
    EXPECT_FALSE(disk.exists(u"C:\\free"));
    EXPECT_TRUE(disk.delayedMoves().empty());
}

TEST_F(FileUtilsDeletingBatch, LeavesTheRestToTheRestartWhichDeletesEmptyDirectories) {
    Deleter(true).appendTree(u"C:\\t").appendFile(u"C:\\file");
    EXPECT_EQ(logMessages(machine, "TRACE"),
              (Lines{"Delete 'C:\\file' file on reboot", "Delete 'C:\\t\\c\\used' file on reboot",
                     "Delete 'C:\\t\\c' folder on reboot", "Delete 'C:\\t\\b' folder on reboot",
                     "Delete 'C:\\t\\a\\used' file on reboot", "Delete 'C:\\t\\a' folder on reboot",
                     "Delete 'C:\\t' folder on reboot"}));
    machine.restart();
    EXPECT_EQ(disk.files(u"C:\\t"), Paths{u"C:\\t\\b\\hidden"});
    EXPECT_FALSE(disk.exists(u"C:\\file"));
}

TEST_F(FileUtilsDeletingBatch, LogsWhatItCannotDelete) {
    machine.calls.failCall("MoveFileExW", 1, ERROR_ACCESS_DENIED);
    Deleter(true).appendTree(u"C:\\t").appendFile(u"C:\\file").appendTree(u"C:\\file").execute();
    EXPECT_EQ(logMessages(machine, "ERROR").size(), 3u);
    EXPECT_TRUE(logMentions(machine, "FindFirstFile(C:\\t\\b) failed"));
    EXPECT_TRUE(logMentions(machine, "MoveFileEx(C:\\file, , 4) failed"));
}

}  // namespace
