// Deleting and walking: what is in use, read-only, missing, linked or refused.
#include <stdexcept>

#include "common/share/Text.h"
#include "common/windows/WinErrorHandling.h"
#include "support/OnMachine.h"
#include "windows/common/DirectoryIterator.h"
#include "windows/common/FileUtils.h"

namespace {

using namespace FileUtils;
using Lines = std::vector<std::string>;
using Deleting = OnMachine;

TEST_F(Deleting, FileGoesOrLeavesTheReason) {
    simulated::Volumes& disk = machine.volumes;
    for (const char16_t* path : {u"C:\\plain", u"C:\\readonly", u"C:\\program", u"C:\\used",
                                 u"C:\\denied", u"C:\\folder\\file"}) {
        disk.addFile(path);
    }
    disk.setReadOnly(u"C:\\readonly");
    disk.setAttributes(u"C:\\program", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    disk.lockAsProgram(u"C:\\program");
    disk.lock(u"C:\\used");
    disk.setReadOnly(u"C:\\denied");
    disk.denyWrite(u"C:\\denied");

    const std::string deleted =
        "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::deleteFileImpl: Deleted ";
    const std::string discarded =
        "TRACE FileUtils.cpp FileUtils::tryDeleteFile: Discarded R/O attribute from ";
    const struct {
        const TCHAR* path;
        DWORD status;  // 0: deleted, or not there
        Lines log;
    } rows[] = {
        {_T("C:\\plain"), 0, {deleted + "[C:\\plain] file"}},
        {_T("C:\\plain"), 0, {}},
        {_T("C:\\no\\file"), 0, {}},
        {_T("C:\\readonly"),
         0,
         {discarded + "[C:\\readonly] file", deleted + "[C:\\readonly] file"}},
        {_T("C:\\program"), ERROR_ACCESS_DENIED, {discarded + "[C:\\program] file"}},
        {_T("C:\\used"), ERROR_SHARING_VIOLATION, {}},
        {_T("C:\\denied"),
         ERROR_ACCESS_DENIED,
         {"WARNING FileUtils.cpp FileUtils::tryDeleteFile: Failed to discard R/O attribute from "
          "[C:\\denied] file. File will not be deleted. "
          "System error [5](system error 5 (Access is denied))"}},
        {_T("C:\\folder"), ERROR_ACCESS_DENIED, {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE((Text() << row.path).utf8());
        SetLastError(4711);
        EXPECT_EQ(tryDeleteFile(row.path), row.status == 0);
        if (row.status != 0) {
            EXPECT_EQ(GetLastError(), row.status);
        }
        EXPECT_EQ(log(), row.log);
    }
    EXPECT_EQ(disk.attributes(u"C:\\program"), DWORD{FILE_ATTRIBUTE_HIDDEN});
    deleteFile(_T("C:\\no\\file"));
    EXPECT_EQ(thrownBy<SysError>([] { deleteFile(_T("C:\\used")); }),
              "FileUtils.cpp at FileUtils::deleteFile(): DeleteFile(C:\\used) failed. "
              "System error [32](system error 32 (Another process is using the file))");
}

TEST_F(Deleting, DirectoryGoesWhenEmpty) {
    machine.volumes.addFile(u"C:\\full\\file");
    machine.volumes.addDirectory(u"C:\\empty");
    deleteDirectory(_T("C:\\empty"));
    deleteDirectory(_T("C:\\empty"));
    deleteDirectory(_T("C:\\no\\where"));
    EXPECT_EQ(log(), Lines{"TRACE FileUtils.cpp FileUtils::tryDeleteDirectory: "
                           "Deleted [C:\\empty] directory"});
    EXPECT_EQ(thrownBy<SysError>([] { deleteDirectory(_T("C:\\full")); }),
              "FileUtils.cpp at FileUtils::deleteDirectory(): RemoveDirectory(C:\\full) failed. "
              "System error [145](system error 145 (The directory is not empty))");
}

TEST_F(Deleting, TreeGoesPastWhatStays) {
    machine.volumes.addFile(u"C:\\t\\a\\1");
    machine.volumes.addFile(u"C:\\t\\a\\2");
    machine.volumes.addFile(u"C:\\t\\b\\c\\3");
    machine.volumes.addFile(u"C:\\t\\4");
    machine.volumes.setReadOnly(u"C:\\t\\4");
    machine.volumes.lock(u"C:\\t\\a\\1");
    EXPECT_FALSE(deleteAll(_T("C:\\t")));
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), std::vector<std::u16string>{u"C:\\t\\a\\1"});
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t\\b"));
    machine.volumes.unlock(u"C:\\t\\a\\1");
    EXPECT_TRUE(deleteAll(_T("C:\\t")));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t"));
    EXPECT_TRUE(deleteAll(_T("C:\\t")));
    EXPECT_TRUE(deleteFiles(_T("C:\\t")));
}

TEST_F(Deleting, OnlyDirectoriesAreEmptied) {
    machine.volumes.addFile(u"C:\\t\\1");
    machine.volumes.addFile(u"C:\\t\\below\\2");
    EXPECT_FALSE(deleteAll(_T("C:\\t\\1")));
    EXPECT_FALSE(deleteFiles(_T("C:\\t\\1")));
    EXPECT_TRUE(machine.volumes.exists(u"C:\\t\\1"));
    EXPECT_TRUE(deleteFiles(_T("C:\\t")));
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), std::vector<std::u16string>{u"C:\\t\\below\\2"});

    machine.volumes.denyRead(u"C:\\t\\below");
    log();
    EXPECT_FALSE(deleteAll(_T("C:\\t")));
    EXPECT_EQ(log(), Lines{"ERROR FileUtils.cpp FileUtils::`anonymous-namespace'::BatchDeleter::"
                           "execute: Exception with message 'FileUtils.cpp at FileUtils::"
                           "iterateDirectory(): FindFirstFile(C:\\t\\below) failed. System error "
                           "[5](system error 5 (Access is denied))' caught"});
}

/// A junction in a tree is walked like any directory: what it leads to is emptied, though the
/// directory at its end stays.
TEST_F(Deleting, TreeIsFollowedThroughItsJunctions) {
    machine.volumes.addFile(u"C:\\elsewhere\\kept\\document");
    machine.volumes.addFile(u"C:\\t\\file");
    machine.volumes.addJunction(u"C:\\t\\link", u"C:\\elsewhere\\kept");
    EXPECT_TRUE(deleteAll(_T("C:\\t")));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t"));
    EXPECT_TRUE(machine.volumes.isDirectory(u"C:\\elsewhere\\kept"));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\elsewhere\\kept\\document"));
}

TEST_F(Deleting, BatchTakesFilesFirstAndEachEntryOnce) {
    machine.volumes.addFile(u"C:\\t\\in");
    machine.volumes.addFile(u"C:\\2");
    machine.volumes.addFile(u"C:\\1");
    machine.volumes.addFile(u"C:\\used");
    machine.volumes.lock(u"C:\\used");
    const std::string file =
        "TRACE FileUtils.cpp FileUtils::`anonymous-namespace'::deleteFileImpl: Deleted ";
    {
        Deleter deleter;
        deleter.appendTree(_T("C:\\t")).appendFile(_T("C:\\2")).appendFile(_T("C:\\1"));
        deleter.appendFile(_T("C:\\used")).appendTree(_T("C:\\no"));
        deleter.execute();
        EXPECT_EQ(log(),
                  (Lines{file + "[C:\\2] file", file + "[C:\\1] file", file + "[C:\\t\\in] file",
                         "TRACE FileUtils.cpp FileUtils::tryDeleteDirectory: "
                         "Deleted [C:\\t] directory"}));
        machine.volumes.addFile(u"C:\\1");
        machine.volumes.addFile(u"C:\\3");
        deleter.execute();
        EXPECT_TRUE(machine.volumes.exists(u"C:\\1"));
        deleter.appendFile(_T("C:\\3"));
    }
    EXPECT_FALSE(machine.volumes.exists(u"C:\\3"));
    EXPECT_TRUE(machine.volumes.exists(u"C:\\1"));
    EXPECT_TRUE(machine.volumes.delayedMoves().empty());
}

TEST_F(Deleting, BatchLeavesTheRestToTheRestart) {
    machine.volumes.addFile(u"C:\\t\\a\\b\\used");
    machine.volumes.addFile(u"C:\\t\\a\\free");
    machine.volumes.addFile(u"C:\\t\\c\\free");
    machine.volumes.addFile(u"C:\\file");
    machine.volumes.lock(u"C:\\t\\a\\b\\used");
    machine.volumes.lock(u"C:\\file");
    Deleter deleter(true);
    deleter.appendTree(_T("C:\\t")).appendFile(_T("C:\\file")).appendTree(_T("C:\\file"));
    deleter.execute();
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), std::vector<std::u16string>{u"C:\\t\\a\\b\\used"});
    Lines registered;
    for (const std::string& line : log()) {
        if (line.find("on reboot") != std::string::npos) {
            registered.push_back(line.substr(line.find(": ") + 2));
        }
    }
    EXPECT_EQ(
        registered,
        (Lines{"Delete 'C:\\file' file on reboot", "Delete 'C:\\t\\a\\b\\used' file on reboot",
               "Delete 'C:\\t\\a\\b' folder on reboot", "Delete 'C:\\t\\a' folder on reboot",
               "Delete 'C:\\t' folder on reboot"}));
    machine.restart();
    EXPECT_FALSE(machine.volumes.exists(u"C:\\t"));
    EXPECT_FALSE(machine.volumes.exists(u"C:\\file"));
}

/// A folder that can't be listed keeps nothing else from the restart.
TEST_F(Deleting, BatchRegistersWhatItCanList) {
    for (const TCHAR* path : {u"C:\\t\\a\\used", u"C:\\t\\b\\hidden", u"C:\\t\\c\\used"}) {
        machine.volumes.addFile(path);
        machine.volumes.lock(path);
    }
    machine.volumes.denyRead(u"C:\\t\\b");
    Deleter(true).appendTree(u"C:\\t").execute();
    std::u16string registered;
    for (const auto& move : machine.volumes.delayedMoves()) {
        registered += move.from + u" ";
    }
    EXPECT_EQ(registered, u"C:\\t\\c\\used C:\\t\\c C:\\t\\b C:\\t\\a\\used C:\\t\\a C:\\t ");
    const Lines lines = log();
    EXPECT_EQ(
        std::ranges::count(lines,
                           "ERROR FileUtils.cpp FileUtils::Deleter::execute: Exception with "
                           "message 'FileUtils.cpp at FileUtils::iterateDirectory(): FindFirstFile("
                           "C:\\t\\b) failed. System error [5](system error 5 (Access is "
                           "denied))' caught"),
        1);
}

/// No failure of a single call lets anything out of a batch.
TEST_F(Deleting, BatchThrowsNothing) {
    machine.volumes.addFile(u"C:\\readonly");
    machine.volumes.setReadOnly(u"C:\\readonly");
    for (std::uint64_t n = 1;; ++n) {
        machine.volumes.addFile(u"C:\\t\\a\\used");
        machine.volumes.addFile(u"C:\\t\\free");
        machine.volumes.lock(u"C:\\t\\a\\used");
        machine.calls.clearPlans();
        machine.calls.failCall(n);
        Deleter deleter(true);
        deleter.appendTree(_T("C:\\t")).appendFile(_T("C:\\readonly"));
        EXPECT_NO_THROW(deleter.execute());
        const std::string faulted = machine.calls.faultedFunction();
        if (faulted.empty()) {
            break;
        }
        if (faulted == "FindClose" || faulted == "_close" || faulted == "CloseHandle") {
            machine.handles.closeAll();
        }
        EXPECT_EQ(machine.handles.open(), Lines()) << faulted;
        machine.volumes.unlock(u"C:\\t\\a\\used");
    }
    EXPECT_EQ(machine.volumes.files(u"C:\\t"), std::vector<std::u16string>{u"C:\\t\\a\\used"});
}

class Recorder : public DirectoryCallback {
public:
    explicit Recorder(std::size_t most = 100) : most_(most) {}

    bool onFile(const tstring& path) override { return note(_T("file ") + path); }
    bool onFolder(const tstring& path) override { return note(_T("folder ") + path); }

    std::vector<tstring> seen;

private:
    bool note(const tstring& entry) {
        seen.push_back(entry);
        return seen.size() < most_;
    }

    std::size_t most_;
};

TEST_F(Deleting, WalkTellsOfEachEntryUntilItIsStopped) {
    machine.volumes.addFile(u"C:\\t\\1");
    machine.volumes.addFile(u"C:\\t\\2\\below");
    machine.volumes.addFile(u"C:\\t\\3.x");
    machine.volumes.addDirectory(u"C:\\empty");
    Recorder all;
    iterateDirectory(_T("C:\\t\\"), all);
    EXPECT_EQ(all.seen, (std::vector<tstring>{_T("file C:\\t\\1"), _T("folder C:\\t\\2"),
                                              _T("file C:\\t\\3.x")}));
    Recorder two(2);
    iterateDirectory(_T("C:\\t"), two);
    EXPECT_EQ(two.seen.size(), 2u);
    Recorder none;
    iterateDirectory(_T("C:\\empty"), none);
    machine.calls.failCall("FindFirstFileW", 1, ERROR_FILE_NOT_FOUND);
    iterateDirectory(_T("C:\\t"), none);
    EXPECT_TRUE(none.seen.empty());

    const std::string where = "FileUtils.cpp at FileUtils::iterateDirectory(): ";
    EXPECT_EQ(thrownBy<SysError>([&] { iterateDirectory(_T("C:\\no"), none); }),
              where +
                  "FindFirstFile(C:\\no) failed. "
                  "System error [3](system error 3 (The path cannot be found))");
    machine.calls.failCall("FindNextFileW", 2, ERROR_ACCESS_DENIED);
    EXPECT_EQ(thrownBy<SysError>([&] { iterateDirectory(_T("C:\\t"), none); }),
              where +
                  "FindNextFile(C:\\t) failed. "
                  "System error [5](system error 5 (Access is denied))");
}

TEST_F(Deleting, IteratorCollectsWhatItIsAskedFor) {
    machine.volumes.addFile(u"C:\\t\\1");
    machine.volumes.addFile(u"C:\\t\\2\\3\\4");
    machine.volumes.addFile(u"C:\\t\\5");
    std::vector<tstring> found = {_T("before")};
    DirectoryIterator(_T("C:\\t")).findItems(found);
    EXPECT_EQ(found,
              (std::vector<tstring>{_T("before"), _T("C:\\t\\1"), _T("C:\\t\\2"), _T("C:\\t\\2\\3"),
                                    _T("C:\\t\\2\\3\\4"), _T("C:\\t\\5")}));
    found.clear();
    DirectoryIterator(_T("C:\\t")).withFolders(false).findItems(found);
    DirectoryIterator(_T("C:\\t")).recursive(false).withFiles(false).findItems(found);
    DirectoryIterator(_T("C:\\t\\1")).findItems(found);
    DirectoryIterator(_T("C:\\no")).findItems(found);
    EXPECT_EQ(found, (std::vector<tstring>{_T("C:\\t\\1"), _T("C:\\t\\2\\3\\4"), _T("C:\\t\\5"),
                                           _T("C:\\t\\2")}));
}

}  // namespace
