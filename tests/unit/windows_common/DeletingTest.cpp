// Deleting and walking: what is in use, read-only, missing, linked or refused.
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"
#include "windows/common/DirectoryIterator.h"
#include "windows/common/FileUtils.h"

namespace {

using namespace FileUtils;
using Lines = std::vector<std::string>;
using Paths = std::vector<tstring>;

class Deleting : public OnMachine {
protected:
    void addFiles(std::initializer_list<const TCHAR*> paths) {
        for (const TCHAR* path : paths) {
            machine.volumes.addFile(path);
        }
    }
};

const std::string kDeleted =
    "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::deleteFileImpl: Deleted [C:\\";
const std::string kFolder = "TRACE FileUtils.cpp FileUtils::tryDeleteDirectory: Deleted [C:\\t";

TEST_F(Deleting, FileGoesOrLeavesTheReason) {
    simulated::Volumes& disk = machine.volumes;
    addFiles({u"C:\\readonly", u"C:\\program", u"C:\\used", u"C:\\denied", u"C:\\raced"});
    disk.addDirectory(u"C:\\folder");
    disk.setReadOnly(u"C:\\readonly");
    disk.setAttributes(u"C:\\program", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    disk.lockAsProgram(u"C:\\program");
    disk.lock(u"C:\\used");
    disk.setReadOnly(u"C:\\denied");
    disk.denyWrite(u"C:\\denied");
    const std::string discarded =
        "TRACE FileUtils.cpp FileUtils::tryDeleteFile: Discarded R/O attribute from [C:\\";
    const struct {
        const TCHAR* path;
        DWORD status;  // 0: deleted, or not there
        Lines log;
    } rows[] = {
        {u"C:\\none", 0, {}},
        {u"C:\\no\\file", 0, {}},
        {u"C:\\readonly", 0, {discarded + "readonly] file", kDeleted + "readonly] file"}},
        {u"C:\\program", ERROR_ACCESS_DENIED, {discarded + "program] file"}},
        {u"C:\\used", ERROR_SHARING_VIOLATION, {}},
        {u"C:\\denied",
         ERROR_ACCESS_DENIED,
         {"WARNING FileUtils.cpp FileUtils::tryDeleteFile: Failed to discard R/O attribute from "
          "[C:\\denied] file. File will not be deleted. "
          "System error [5](system error 5 (Access is denied))"}},
        {u"C:\\folder", ERROR_ACCESS_DENIED, {}},
    };
    for (const auto& row : rows) {
        SetLastError(4711);
        EXPECT_EQ(tryDeleteFile(row.path), row.status == 0);
        EXPECT_TRUE(row.status == 0 || GetLastError() == row.status);
        EXPECT_EQ(log(), row.log);
    }
    EXPECT_EQ(disk.attributes(u"C:\\program"), DWORD{FILE_ATTRIBUTE_HIDDEN});
    // Gone between the two tries: deleted by somebody else.
    disk.setReadOnly(u"C:\\raced");
    machine.calls.failCall("DeleteFileW", 2, ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(tryDeleteFile(u"C:\\raced"));
}

TEST_F(Deleting, TreeGoesPastWhatStaysAndThroughJunctions) {
    addFiles({u"C:\\t\\a\\1", u"C:\\t\\a\\2", u"C:\\t\\b\\c\\3", u"C:\\t\\4", u"C:\\else\\5"});
    machine.volumes.addJunction(u"C:\\t\\link", u"C:\\else");
    machine.volumes.lock(u"C:\\t\\a\\1");
    EXPECT_FALSE(deleteAll(u"C:\\t"));
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), Paths{u"C:\\t\\a\\1"});
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t\\b") || machine.volumes.exists(u"C:\\t\\link"));
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\else"));
    EXPECT_TRUE(machine.volumes.files(u"C:\\else").empty());
    machine.volumes.unlock(u"C:\\t\\a\\1");
    log();
    EXPECT_TRUE(deleteAll(u"C:\\t"));
    EXPECT_EQ(log(), (Lines{kDeleted + "t\\a\\1] file", kFolder + "\\a] directory",
                            kFolder + "] directory"}));
    EXPECT_TRUE(deleteAll(u"C:\\t") && deleteFiles(u"C:\\t"));
    deleteDirectory(u"C:\\t");
}

TEST_F(Deleting, OnlyDirectoriesAreEmptied) {
    addFiles({u"C:\\t\\1", u"C:\\t\\used", u"C:\\t\\below\\2"});
    machine.volumes.lock(u"C:\\t\\used");
    EXPECT_FALSE(deleteAll(u"C:\\t\\1") || deleteFiles(u"C:\\t\\1") || deleteFiles(u"C:\\t"));
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), (Paths{u"C:\\t\\below\\2", u"C:\\t\\used"}));
    machine.volumes.unlock(u"C:\\t\\used");
    EXPECT_TRUE(deleteFiles(u"C:\\t"));
    EXPECT_THROW(deleteDirectory(u"C:\\t"), SysError);
    machine.volumes.denyRead(u"C:\\t\\below");
    log();
    EXPECT_FALSE(deleteAll(u"C:\\t"));
    EXPECT_EQ(log(), Lines{"ERROR FileUtils.cpp FileUtils::`anonymous-namespace'::BatchDeleter::"
                           "execute: Exception with message 'FileUtils.cpp at FileUtils::"
                           "iterateDirectory(): FindFirstFile(C:\\t\\below) failed. System error "
                           "[5](system error 5 (Access is denied))' caught"});
}

TEST_F(Deleting, BatchTakesFilesFirstAndEachEntryOnce) {
    addFiles({u"C:\\t\\in", u"C:\\2", u"C:\\used"});
    machine.volumes.lock(u"C:\\used");
    {
        Deleter deleter;
        deleter.appendTree(u"C:\\t").appendFile(u"C:\\2").appendFile(u"C:\\used");
        deleter.execute();
        EXPECT_EQ(log(),
                  (Lines{kDeleted + "2] file", kDeleted + "t\\in] file", kFolder + "] directory"}));
        addFiles({u"C:\\2", u"C:\\3"});
        deleter.execute();
        deleter.appendFile(u"C:\\3");
    }
    EXPECT_FALSE(machine.volumes.exists(u"C:\\3"));
    EXPECT_TRUE(machine.volumes.exists(u"C:\\2"));
    EXPECT_TRUE(machine.volumes.delayedMoves().empty());
}

/// The rest is left to the restart, which takes only empty directories. A folder that can't be
/// listed keeps nothing else from it, and nothing is thrown.
TEST_F(Deleting, BatchLeavesTheRestToTheRestart) {
    for (const TCHAR* path :
         {u"C:\\t\\a\\used", u"C:\\t\\b\\hidden", u"C:\\t\\c\\used", u"C:\\file"}) {
        machine.volumes.addFile(path);
        machine.volumes.lock(path);
    }
    machine.volumes.denyRead(u"C:\\t\\b");
    Deleter(true).appendTree(u"C:\\t").appendFile(u"C:\\file").appendTree(u"C:\\file").execute();
    std::string registered;
    for (const LogRecord& record : logRecords(machine)) {
        const bool isOfTheList = record.function == "FileUtils::Deleter::execute";
        if (record.message.ends_with("on reboot") || isOfTheList) {
            registered += isOfTheList ? record.level + "; " : record.message + "; ";
        }
    }
    EXPECT_EQ(registered,
              "Delete 'C:\\file' file on reboot; ERROR; "
              "Delete 'C:\\t\\c\\used' file on reboot; Delete 'C:\\t\\c' folder on reboot; "
              "Delete 'C:\\t\\b' folder on reboot; Delete 'C:\\t\\a\\used' file on reboot; "
              "Delete 'C:\\t\\a' folder on reboot; Delete 'C:\\t' folder on reboot; ");
    machine.restart();
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), Paths{u"C:\\t\\b\\hidden"});
    EXPECT_FALSE(machine.volumes.exists(u"C:\\file"));

    machine.volumes.lock(u"C:\\t\\b\\hidden");
    machine.calls.failAll("MoveFileExW", ERROR_ACCESS_DENIED);
    log();
    EXPECT_NO_THROW(Deleter(true).appendTree(u"C:\\t").execute());
    EXPECT_NE(log().back().find("MoveFileEx(C:\\t, , 4) failed"), std::string::npos);
}

TEST_F(Deleting, WalkTellsOfEachEntryUntilItIsStopped) {
    struct Recorder : DirectoryCallback {
        bool onFile(const tstring& path) override { return note(u"file " + path); }
        bool onFolder(const tstring& path) override { return note(u"folder " + path); }
        bool note(const tstring& entry) {
            seen.push_back(entry);
            return seen.size() != 4;
        }
        Paths seen;
    } recorder;
    addFiles({u"C:\\t\\1", u"C:\\t\\2\\3\\4", u"C:\\t\\5.x"});
    machine.calls.failCall("FindFirstFileW", 1, ERROR_FILE_NOT_FOUND);
    iterateDirectory(u"C:\\t", recorder);
    iterateDirectory(u"C:\\t\\", recorder);
    EXPECT_EQ(recorder.seen, (Paths{u"file C:\\t\\1", u"folder C:\\t\\2", u"file C:\\t\\5.x"}));
    iterateDirectory(u"C:\\t", recorder);
    EXPECT_EQ(recorder.seen.size(), 4u);
    DirectoryCallback nothing;
    iterateDirectory(u"C:\\t", nothing);
    // Two whole walks of five entries, and one that is stopped at its third.
    EXPECT_EQ(machine.calls.count("FindNextFileW"), 12u);

    Paths found = {u"before"};
    DirectoryIterator(u"C:\\t").findItems(found);
    DirectoryIterator files(u"C:\\t");
    files.withFolders(false).findItems(found);
    files.findItems(found);
    DirectoryIterator(u"C:\\t").recursive(false).withFiles(false).findItems(found);
    DirectoryIterator(u"C:\\t\\1").findItems(found);
    tstring all;
    for (const tstring& path : found) {
        all += path + u" ";
    }
    EXPECT_EQ(all,
              u"before C:\\t\\1 C:\\t\\2 C:\\t\\2\\3 C:\\t\\2\\3\\4 C:\\t\\5.x "
              u"C:\\t\\1 C:\\t\\2\\3\\4 C:\\t\\5.x C:\\t\\1 C:\\t\\2\\3\\4 C:\\t\\5.x C:\\t\\2 ");
}

}  // namespace
