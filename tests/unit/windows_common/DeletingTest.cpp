// Deleting and walking: what is in use, read-only, missing, linked or refused.
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"
#include "windows/common/DirectoryIterator.h"
#include "windows/common/FileUtils.h"

namespace {

using namespace FileUtils;
using Lines = std::vector<std::string>;
using Paths = std::vector<tstring>;
using Deleting = OnMachine;

const std::string kDeleted =
    "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::deleteFileImpl: Deleted [C:\\";

TEST_F(Deleting, FileGoesOrLeavesTheReason) {
    simulated::Volumes& disk = machine.volumes;
    for (const TCHAR* path : {u"C:\\plain", u"C:\\readonly", u"C:\\program", u"C:\\used",
                              u"C:\\denied", u"C:\\folder\\file"}) {
        disk.addFile(path);
    }
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
        {u"C:\\plain", 0, {kDeleted + "plain] file"}},
        {u"C:\\plain", 0, {}},
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
    deleteFile(u"C:\\no\\file");
    // Gone between the two tries: deleted by somebody else.
    disk.addFile(u"C:\\raced");
    disk.setReadOnly(u"C:\\raced");
    machine.calls.failCall("DeleteFileW", 2, ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(tryDeleteFile(u"C:\\raced"));
}

TEST_F(Deleting, TreeGoesPastWhatStaysAndThroughJunctions) {
    for (const TCHAR* path : {u"C:\\t\\a\\1", u"C:\\t\\a\\2", u"C:\\t\\b\\c\\3", u"C:\\t\\4",
                              u"C:\\elsewhere\\kept\\document"}) {
        machine.volumes.addFile(path);
    }
    machine.volumes.addJunction(u"C:\\t\\link", u"C:\\elsewhere\\kept");
    machine.volumes.setReadOnly(u"C:\\t\\4");
    machine.volumes.lock(u"C:\\t\\a\\1");
    EXPECT_FALSE(deleteAll(u"C:\\t"));
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), Paths{u"C:\\t\\a\\1"});
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t\\b") || machine.volumes.exists(u"C:\\t\\link"));
    EXPECT_TRUE(machine.volumes.files(u"C:\\elsewhere").empty());
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\elsewhere\\kept"));
    machine.volumes.unlock(u"C:\\t\\a\\1");
    log();
    EXPECT_TRUE(deleteAll(u"C:\\t"));
    const std::string folder = "TRACE FileUtils.cpp FileUtils::tryDeleteDirectory: Deleted [C:\\t";
    EXPECT_EQ(log(), (Lines{kDeleted + "t\\a\\1] file", folder + "\\a] directory",
                            folder + "] directory"}));
    EXPECT_TRUE(deleteAll(u"C:\\t") && deleteFiles(u"C:\\t"));
    deleteDirectory(u"C:\\t");
    deleteDirectory(u"C:\\no\\where");
}

TEST_F(Deleting, OnlyDirectoriesAreEmptied) {
    machine.volumes.addFile(u"C:\\t\\1");
    machine.volumes.addFile(u"C:\\t\\used");
    machine.volumes.addFile(u"C:\\t\\below\\2");
    machine.volumes.lock(u"C:\\t\\used");
    EXPECT_FALSE(deleteAll(u"C:\\t\\1") || deleteFiles(u"C:\\t\\1"));
    EXPECT_TRUE(machine.volumes.exists(u"C:\\t\\1"));
    EXPECT_FALSE(deleteFiles(u"C:\\t"));
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), (Paths{u"C:\\t\\below\\2", u"C:\\t\\used"}));
    machine.volumes.unlock(u"C:\\t\\used");
    EXPECT_TRUE(deleteFiles(u"C:\\t"));
    EXPECT_EQ(thrownBy<SysError>([] { deleteDirectory(u"C:\\t"); }),
              "FileUtils.cpp at FileUtils::deleteDirectory(): RemoveDirectory(C:\\t) failed. "
              "System error [145](system error 145 (The directory is not empty))");
    machine.volumes.denyRead(u"C:\\t\\below");
    log();
    EXPECT_FALSE(deleteAll(u"C:\\t"));
    EXPECT_EQ(log(), Lines{"ERROR FileUtils.cpp FileUtils::`anonymous-namespace'::BatchDeleter::"
                           "execute: Exception with message 'FileUtils.cpp at FileUtils::"
                           "iterateDirectory(): FindFirstFile(C:\\t\\below) failed. System error "
                           "[5](system error 5 (Access is denied))' caught"});
}

TEST_F(Deleting, BatchTakesFilesFirstAndEachEntryOnce) {
    for (const TCHAR* path : {u"C:\\t\\in", u"C:\\2", u"C:\\1", u"C:\\used"}) {
        machine.volumes.addFile(path);
    }
    machine.volumes.lock(u"C:\\used");
    {
        Deleter deleter;
        deleter.appendTree(u"C:\\t").appendFile(u"C:\\2").appendFile(u"C:\\1");
        deleter.appendFile(u"C:\\used").appendTree(u"C:\\no");
        deleter.execute();
        EXPECT_EQ(log(),
                  (Lines{kDeleted + "2] file", kDeleted + "1] file", kDeleted + "t\\in] file",
                         "TRACE FileUtils.cpp FileUtils::tryDeleteDirectory: "
                         "Deleted [C:\\t] directory"}));
        machine.volumes.addFile(u"C:\\1");
        machine.volumes.addFile(u"C:\\3");
        deleter.execute();
        deleter.appendFile(u"C:\\3");
    }
    EXPECT_FALSE(machine.volumes.exists(u"C:\\3"));
    EXPECT_TRUE(machine.volumes.exists(u"C:\\1"));
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
    machine.volumes.addFile(u"C:\\t\\c\\free");
    machine.volumes.denyRead(u"C:\\t\\b");
    Deleter(true).appendTree(u"C:\\t").appendFile(u"C:\\file").appendTree(u"C:\\file").execute();
    std::string registered;
    Lines errors;
    for (const LogRecord& record : logRecords(machine)) {
        if (record.message.ends_with("on reboot")) {
            registered += record.message + "; ";
        } else if (record.level == "ERROR" && record.function == "FileUtils::Deleter::execute") {
            errors.push_back(withoutLines(record.message));
        }
    }
    EXPECT_EQ(registered,
              "Delete 'C:\\file' file on reboot; Delete 'C:\\t\\c\\used' file on reboot; "
              "Delete 'C:\\t\\c' folder on reboot; Delete 'C:\\t\\b' folder on reboot; "
              "Delete 'C:\\t\\a\\used' file on reboot; Delete 'C:\\t\\a' folder on reboot; "
              "Delete 'C:\\t' folder on reboot; ");
    EXPECT_EQ(errors,
              Lines{"Exception with message 'FileUtils.cpp at FileUtils::iterateDirectory(): "
                    "FindFirstFile(C:\\t\\b) failed. System error [5](system error 5 (Access "
                    "is denied))' caught"});
    machine.restart();
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), Paths{u"C:\\t\\b\\hidden"});
    EXPECT_FALSE(machine.volumes.exists(u"C:\\file"));

    machine.volumes.lock(u"C:\\t\\b\\hidden");
    machine.calls.failAll("MoveFileExW", ERROR_ACCESS_DENIED);
    log();
    EXPECT_NO_THROW(Deleter(true).appendTree(u"C:\\t").execute());
    EXPECT_EQ(
        log().back().find("ERROR FileUtils.cpp FileUtils::`anonymous-namespace'::deleteOnReboot: "
                          "Exception with message 'FileUtils.cpp at FileUtils::`anonymous-"
                          "namespace'::moveFileImpl(): MoveFileEx(C:\\t, , 4) failed. "),
        0u);
}

TEST_F(Deleting, WalkTellsOfEachEntryUntilItIsStopped) {
    struct Recorder : DirectoryCallback {
        bool onFile(const tstring& path) override { return note(u"file " + path); }
        bool onFolder(const tstring& path) override { return note(u"folder " + path); }
        bool note(const tstring& entry) {
            seen.push_back(entry);
            return seen.size() < most;
        }
        std::size_t most = 100;
        Paths seen;
    } recorder;
    for (const TCHAR* path : {u"C:\\t\\1", u"C:\\t\\2\\3\\4", u"C:\\t\\5.x"}) {
        machine.volumes.addFile(path);
    }
    machine.calls.failCall("FindFirstFileW", 1, ERROR_FILE_NOT_FOUND);
    iterateDirectory(u"C:\\t", recorder);
    iterateDirectory(u"C:\\t\\", recorder);
    EXPECT_EQ(recorder.seen, (Paths{u"file C:\\t\\1", u"folder C:\\t\\2", u"file C:\\t\\5.x"}));
    recorder.most = 5;
    iterateDirectory(u"C:\\t", recorder);
    EXPECT_EQ(recorder.seen.size(), 5u);
    DirectoryCallback nothing;
    iterateDirectory(u"C:\\t", nothing);
    // Two whole walks of five entries, and one that is stopped at its fourth.
    EXPECT_EQ(machine.calls.count("FindNextFileW"), 13u);

    Paths found = {u"before"};
    DirectoryIterator(u"C:\\t").findItems(found);
    EXPECT_EQ(found, (Paths{u"before", u"C:\\t\\1", u"C:\\t\\2", u"C:\\t\\2\\3", u"C:\\t\\2\\3\\4",
                            u"C:\\t\\5.x"}));
    found.clear();
    DirectoryIterator files(u"C:\\t");
    files.withFolders(false).findItems(found);
    files.findItems(found);
    DirectoryIterator(u"C:\\t").recursive(false).withFiles(false).findItems(found);
    DirectoryIterator(u"C:\\t\\1").findItems(found);
    EXPECT_EQ(found, (Paths{u"C:\\t\\1", u"C:\\t\\2\\3\\4", u"C:\\t\\5.x", u"C:\\t\\1",
                            u"C:\\t\\2\\3\\4", u"C:\\t\\5.x", u"C:\\t\\2"}));
}

}  // namespace
