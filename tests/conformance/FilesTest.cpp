// Files and directories: opening and sharing, deleting, copying and moving, names, searches, links.
//
// Where Wine differs, the machine follows Microsoft's pages: Wine has no limit of a path's length
// ("Maximum Path Length Limitation"), older ones have no reparse points
// ("FSCTL_SET_REPARSE_POINT"), files that are deleted while they are open are gone at once
// ("DeleteFileW"), a delayed move may miss its source ("MoveFileExW"), searches hold nothing
// ("FindFirstFileW"), a name that is moved to another case keeps its own, and who may write
// everything writes to read-only files too ("File Attribute Constants").
#include <windows.h>
#include <direct.h>
#include <sddl.h>
#include <shlwapi.h>
#include <winioctl.h>

#include <cstdio>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Setting.h"

namespace {

constexpr DWORD kDone = ERROR_SUCCESS;
constexpr DWORD kDenied = ERROR_ACCESS_DENIED;
constexpr DWORD kShared = ERROR_SHARING_VIOLATION;
constexpr DWORD kNoFile = ERROR_FILE_NOT_FOUND;
constexpr DWORD kNoPath = ERROR_PATH_NOT_FOUND;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kDirectory = FILE_FLAG_BACKUP_SEMANTICS;

DWORD statusOf(BOOL done) {
    return done != FALSE ? ERROR_SUCCESS : GetLastError();
}

/// An open file that closes itself.
class File {
public:
    File(const tstring& path, DWORD access, DWORD share = kShareAll,
         DWORD disposition = OPEN_EXISTING, DWORD flags = FILE_ATTRIBUTE_NORMAL)
        : handle(CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr)),
          status(handle != INVALID_HANDLE_VALUE ? ERROR_SUCCESS : GetLastError()) {}
    ~File() {
        if (status == ERROR_SUCCESS) {
            EXPECT_TRUE(CloseHandle(handle));
        }
    }
    File(const File&) = delete;

    std::string read() const {
        std::string content(1000, '\0');
        DWORD done = 0;
        EXPECT_TRUE(ReadFile(handle, content.data(), 1000, &done, nullptr));
        return content.substr(0, done);
    }

    const HANDLE handle;
    const DWORD status;
};

/// A fresh directory for each test, with a few things in it.
class Files : public testing::Test {
protected:
    Files() {
        static int number = 0;
        const std::string digits = std::to_string(number++);
        root_ = temporaryPath(_T("norv conformance ")) + tstring(digits.begin(), digits.end());
        EXPECT_TRUE(CreateDirectoryW(root_.c_str(), nullptr));
        EXPECT_EQ(kDone, makeDirectory(_T("folder")));
        write(_T("folder\\inner.txt"), "inner");
        write(_T("file.txt"), "content");
        write(_T("fixed.txt"), "fixed");
        EXPECT_TRUE(SetFileAttributesW(at(_T("fixed.txt")).c_str(), FILE_ATTRIBUTE_READONLY));
    }

    tstring at(const tstring& name) const { return root_ + _T("\\") + name; }

    void write(const tstring& name, const std::string& content) {
        FILE* const file = _wfopen(at(name).c_str(), _T("w"));
        ASSERT_NE(nullptr, file);
        EXPECT_EQ(content.size(), std::fwrite(content.data(), 1, content.size(), file));
        EXPECT_EQ(0, std::fclose(file));
    }

    std::string read(const tstring& name) const {
        const File file(at(name), GENERIC_READ);
        return file.status == kDone ? file.read() : "status " + std::to_string(file.status);
    }

    std::vector<tstring> namesIn(const tstring& name) const {
        std::vector<tstring> names;
        WIN32_FIND_DATAW data;
        const HANDLE find = FindFirstFileW(at(name + _T("\\*")).c_str(), &data);
        do {
            names.push_back(data.cFileName);
        } while (FindNextFileW(find, &data));
        EXPECT_EQ(DWORD{ERROR_NO_MORE_FILES}, GetLastError());
        EXPECT_TRUE(FindClose(find));
        return names;
    }

    DWORD attributes(const tstring& name) const { return GetFileAttributesW(at(name).c_str()); }

    // The status of a call on things in the directory.
    DWORD open(const tstring& name, DWORD flags = 0) const {
        return File(at(name), GENERIC_READ, kShareAll, OPEN_EXISTING, flags).status;
    }
    DWORD make(const tstring& name) const {
        return File(at(name), GENERIC_WRITE, kShareAll, CREATE_NEW).status;
    }
    DWORD makeDirectory(const tstring& name) const {
        return statusOf(CreateDirectoryW(at(name).c_str(), nullptr));
    }
    DWORD remove(const tstring& name) const { return statusOf(DeleteFileW(at(name).c_str())); }
    DWORD removeDirectory(const tstring& name) const {
        return statusOf(RemoveDirectoryW(at(name).c_str()));
    }
    DWORD copy(const tstring& from, const tstring& to, bool replaces = true) const {
        return statusOf(CopyFileW(at(from).c_str(), at(to).c_str(), replaces ? FALSE : TRUE));
    }
    DWORD move(const tstring& from, const tstring& to, DWORD flags = 0) const {
        return statusOf(MoveFileExW(at(from).c_str(), at(to).c_str(), flags));
    }

    tstring root_;
};

TEST_F(Files, OpeningIgnoresCaseAndResolvesThePath) {
    EXPECT_EQ(kDone, open(_T("FILE.TXT")));
    EXPECT_EQ(kDone, open(_T("folder/./../file.txt. .")));
}

TEST_F(Files, OpeningReturnsWhatIsWrongWithThePath) {
    EXPECT_EQ(kNoFile, open(_T("none.txt")));
    EXPECT_EQ(kNoPath, open(_T("none\\x.txt")));
    EXPECT_EQ(kNoPath, open(_T("file.txt\\x.txt")));
    EXPECT_EQ(DWORD{ERROR_INVALID_NAME}, open(_T("a*")));
    EXPECT_EQ(kNoPath, make(_T("none\\x.txt")));
    EXPECT_EQ(DWORD{ERROR_FILE_EXISTS}, make(_T("file.txt")));
}

TEST_F(Files, DirectoriesAreCreatedOneLevelAtATime) {
    EXPECT_EQ(kDone, makeDirectory(_T("made")));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, makeDirectory(_T("MADE\\")));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, makeDirectory(_T("file.txt")));
    EXPECT_EQ(kNoPath, makeDirectory(_T("made\\deep\\er")));
    EXPECT_EQ(kDone, makeDirectory(_T("made\\deep\\")));
    EXPECT_EQ(DWORD{FILE_ATTRIBUTE_DIRECTORY}, attributes(_T("made/deep\\")));
    EXPECT_EQ(kDone, removeDirectory(_T("made\\deep\\")));
}

TEST_F(Files, DeletionRefusesTheOtherKindReadOnlyFilesAndFullDirectories) {
    EXPECT_EQ(kNoFile, remove(_T("none")));
    EXPECT_EQ(kDenied, remove(_T("folder")));
    EXPECT_EQ(kDenied, remove(_T("fixed.txt")));
    EXPECT_EQ(kNoFile, removeDirectory(_T("none")));
    EXPECT_EQ(DWORD{ERROR_DIR_NOT_EMPTY}, removeDirectory(_T("folder")));
    EXPECT_EQ(DWORD{ERROR_DIRECTORY}, removeDirectory(_T("fixed.txt")));
}

TEST_F(Files, SecurityIsSetFromADescriptor) {
    PSECURITY_DESCRIPTOR list = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
        _T("D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)"), SDDL_REVISION_1, &list, nullptr));
    EXPECT_TRUE(SetFileSecurityW(root_.c_str(), DACL_SECURITY_INFORMATION, list));
    EXPECT_EQ(nullptr, LocalFree(list));
}

TEST_F(Files, DriveTypeOfAMissingDriveIsNoRootDirectory) {
    EXPECT_EQ(UINT{DRIVE_FIXED}, GetDriveTypeW(root_.substr(0, 3).c_str()));
    EXPECT_EQ(UINT{DRIVE_NO_ROOT_DIR}, GetDriveTypeW(_T("*:\\")));
}

TEST_F(Files, ReadingContinuesAtThePosition) {
    const File file(at(_T("file.txt")), GENERIC_READ);
    EXPECT_EQ("content", file.read());
    EXPECT_EQ("", file.read()) << "reading at the end succeeds";
    LARGE_INTEGER to = {};
    LARGE_INTEGER position = {};
    to.QuadPart = 2;
    EXPECT_TRUE(SetFilePointerEx(file.handle, to, &position, FILE_END));
    EXPECT_EQ(9, position.QuadPart);
    EXPECT_EQ("", file.read());
    EXPECT_TRUE(SetFilePointerEx(file.handle, to, nullptr, FILE_BEGIN));
    EXPECT_EQ("ntent", file.read());
}

TEST_F(Files, ShareModesOfBothUsersDecideWhetherAFileOpens) {
    const auto second = [&](DWORD firstAccess, DWORD firstShare, DWORD access, DWORD share) {
        const File first(at(_T("file.txt")), firstAccess, firstShare);
        return File(at(_T("file.txt")), access, share).status;
    };
    constexpr DWORD kShareRead = FILE_SHARE_READ;
    EXPECT_EQ(kShared, second(GENERIC_READ, 0, GENERIC_READ, kShareAll));
    EXPECT_EQ(kDone, second(GENERIC_READ, kShareRead, GENERIC_READ, kShareRead));
    EXPECT_EQ(kShared, second(GENERIC_READ, kShareRead, GENERIC_WRITE, kShareAll));
    EXPECT_EQ(kShared, second(GENERIC_WRITE, kShareAll, GENERIC_READ, kShareRead));
    EXPECT_EQ(kDone, second(GENERIC_WRITE, kShareAll, GENERIC_READ, kShareRead | FILE_SHARE_WRITE));
}

TEST_F(Files, WhatIsOpenWithoutSharedDeletionIsNeitherDeletedNorReplaced) {
    const File file(at(_T("file.txt")), GENERIC_READ, FILE_SHARE_READ);
    const File folder(at(_T("folder")), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, kDirectory);
    EXPECT_EQ(kShared, remove(_T("file.txt")));
    EXPECT_EQ(kShared, move(_T("file.txt"), _T("other.txt")));
    EXPECT_EQ(kDone, copy(_T("file.txt"), _T("other.txt")));
    EXPECT_EQ(kDenied, move(_T("other.txt"), _T("file.txt"), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(kShared, removeDirectory(_T("folder")));
}

TEST_F(Files, ADeletedFileIsReadableUntilItsUserClosesIt) {
    {
        const File shared(at(_T("file.txt")), GENERIC_READ, kShareAll);
        EXPECT_EQ(kDone, remove(_T("file.txt")));
        EXPECT_EQ("content", shared.read());
        if (!isWine()) {
            EXPECT_EQ(kDenied, open(_T("file.txt")));
            EXPECT_EQ(kDenied, make(_T("file.txt")));
        }
    }
    EXPECT_EQ(kNoFile, open(_T("file.txt")));
}

TEST_F(Files, CopyWritesToAFileThatOthersShareForWriting) {
    for (const DWORD access : {DWORD{GENERIC_READ}, DWORD{GENERIC_WRITE}}) {
        const auto copyOnto = [&](DWORD share) {
            const File open(at(_T("file.txt")), access, share);
            return copy(_T("folder\\inner.txt"), _T("file.txt"));
        };
        EXPECT_EQ(kDone, copyOnto(FILE_SHARE_WRITE));
        EXPECT_EQ(kShared, copyOnto(FILE_SHARE_READ | FILE_SHARE_DELETE));
    }
}

TEST_F(Files, ARunningProgramIsReadAndRenamedButNotWritten) {
    TCHAR program[MAX_PATH] = {};
    ASSERT_NE(0u, GetModuleFileNameW(nullptr, program, MAX_PATH));
    EXPECT_EQ(kDone, File(program, GENERIC_READ, 0).status);
    EXPECT_EQ(kShared, File(program, GENERIC_WRITE).status);
    EXPECT_EQ(kDenied, statusOf(DeleteFileW(program)));
    EXPECT_EQ(kShared, statusOf(CopyFileW(at(_T("file.txt")).c_str(), program, FALSE)));
    const tstring renamed = program + tstring(_T(".renamed"));
    EXPECT_EQ(kDone, statusOf(MoveFileExW(program, renamed.c_str(), 0)));
    EXPECT_EQ(kDone, statusOf(MoveFileExW(renamed.c_str(), program, 0)));
}

TEST_F(Files, ADirectoryOpensWithBackupSemanticsOnly) {
    const auto create = [&](const TCHAR* name, DWORD flags) {
        return File(at(name), GENERIC_WRITE, kShareAll, CREATE_NEW, flags).status;
    };
    EXPECT_EQ(kDone, open(_T("folder"), kDirectory));
    EXPECT_EQ(kDone, open(_T("folder\\"), kDirectory));
    EXPECT_EQ(kDenied, open(_T("folder")));
    EXPECT_EQ(DWORD{ERROR_FILE_EXISTS}, create(_T("folder"), kDirectory));
    // By Wine's own tests, which Windows passes and this Wine doesn't.
    if (!isWine()) {
        EXPECT_EQ(kNoPath, open(_T("folder\\")));
        EXPECT_EQ(kDenied, create(_T("folder"), FILE_ATTRIBUTE_NORMAL));
        EXPECT_EQ(kNoPath, create(_T("folder\\"), FILE_ATTRIBUTE_NORMAL));
    }
}

TEST_F(Files, ADirectoryMayReplaceAFile) {
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, move(_T("folder"), _T("file.txt")));
    EXPECT_EQ(kDone, move(_T("folder"), _T("file.txt"), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ("inner", read(_T("file.txt\\inner.txt")));
}

TEST_F(Files, ADeviceNameIsNoDirectory) {
    WIN32_FIND_DATAW data;
    EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(at(_T("nul\\*")).c_str(), &data));
    EXPECT_EQ(kNoPath, GetLastError());
    EXPECT_EQ(DWORD{FILE_ATTRIBUTE_ARCHIVE}, attributes(_T("nul")));
}

TEST_F(Files, CopiesRefuseDirectoriesMissingPathsAndTheFileItself) {
    EXPECT_EQ(DWORD{ERROR_FILE_EXISTS}, copy(_T("file.txt"), _T("fixed.txt"), false));
    EXPECT_EQ(kDenied, copy(_T("folder"), _T("x")));
    EXPECT_EQ(kDenied, copy(_T("file.txt"), _T("folder")));
    EXPECT_EQ(kShared, copy(_T("file.txt"), _T("FILE.txt")));
    EXPECT_EQ(kNoFile, copy(_T("none"), _T("x")));
    EXPECT_EQ(kNoPath, copy(_T("file.txt"), _T("none\\x")));
}

TEST_F(Files, ACopyKeepsTheAttributes) {
    EXPECT_EQ(kDone, copy(_T("fixed.txt"), _T("copy.txt"), false));
    EXPECT_TRUE((attributes(_T("copy.txt")) & FILE_ATTRIBUTE_READONLY) != 0);
    EXPECT_TRUE(SetFileAttributesW(at(_T("copy.txt")).c_str(), FILE_ATTRIBUTE_NORMAL));
}

TEST_F(Files, MovesReplaceFilesOnDemand) {
    write(_T("copy.txt"), "old");
    EXPECT_EQ(kNoFile, move(_T("none"), _T("x")));
    EXPECT_EQ(kNoPath, move(_T("file.txt"), _T("none\\x")));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, move(_T("file.txt"), _T("copy.txt")));
    EXPECT_EQ(kDenied, move(_T("file.txt"), _T("folder"), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(kDone, move(_T("file.txt"), _T("copy.txt"), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ("content", read(_T("copy.txt")));
    EXPECT_EQ("status 2", read(_T("file.txt")));
}

TEST_F(Files, AMoveTakesTheEntriesAlongAndMayChangeTheCase) {
    EXPECT_EQ(kDone, move(_T("folder"), _T("moved"), MOVEFILE_COPY_ALLOWED));
    EXPECT_EQ("inner", read(_T("moved\\inner.txt")));
    EXPECT_EQ(kDone, move(_T("file.txt"), _T("FILE.txt")));
    if (!isWine()) {
        EXPECT_EQ(_T("FILE.txt"), namesIn(_T("")).at(2));
    }
}

TEST_F(Files, AReadOnlyFileIsMovedButNotWritten) {
    if (!isWine()) {
        EXPECT_EQ(kDenied, File(at(_T("fixed.txt")), GENERIC_WRITE).status);
        EXPECT_EQ(kDenied, copy(_T("file.txt"), _T("fixed.txt")));
        EXPECT_EQ(kDenied, move(_T("file.txt"), _T("fixed.txt"), MOVEFILE_REPLACE_EXISTING));
    }
    EXPECT_EQ(kDone, move(_T("fixed.txt"), _T("moved.txt")));
}

TEST_F(Files, DelayedMovesAreRecordedForTheRestart) {
    constexpr DWORD kDelay = MOVEFILE_DELAY_UNTIL_REBOOT;
    const tstring file = at(_T("file.txt"));
    const tstring other = at(_T("other.txt"));
    EXPECT_EQ(kDone, move(_T("file.txt"), _T("other.txt"), kDelay | MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(std::pair(file, other), lastDelayedMove());
    EXPECT_TRUE(MoveFileExW(file.c_str(), nullptr, kDelay));
    EXPECT_EQ(std::pair(file, tstring()), lastDelayedMove());
    EXPECT_EQ("content", read(_T("file.txt")));
    if (!isWine()) {
        EXPECT_EQ(kNoFile, statusOf(MoveFileExW(other.c_str(), nullptr, kDelay)));
    }
}

TEST_F(Files, SearchesReturnNamesInOrder) {
    write(_T("Beta one.txt"), "");
    write(_T("alpha.dat"), "");
    EXPECT_EQ((std::vector<tstring>{_T("."), _T(".."), _T("alpha.dat"), _T("Beta one.txt"),
                                    _T("file.txt"), _T("fixed.txt"), _T("folder")}),
              namesIn(_T("")));
}

TEST_F(Files, SearchesWantADirectory) {
    WIN32_FIND_DATAW data;
    EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(at(_T("none\\*")).c_str(), &data));
    EXPECT_EQ(kNoPath, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(at(_T("file.txt\\*")).c_str(), &data));
    EXPECT_EQ(isWine() ? DWORD{ERROR_INVALID_NAME} : DWORD{ERROR_DIRECTORY}, GetLastError());
}

TEST_F(Files, ASearchKeepsItsDirectoryFromDeletion) {
    EXPECT_EQ(kDone, makeDirectory(_T("empty")));
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW(at(_T("empty\\*")).c_str(), &data);
    EXPECT_EQ(DWORD{FILE_ATTRIBUTE_DIRECTORY}, data.dwFileAttributes);
    if (!isWine()) {
        EXPECT_EQ(kShared, removeDirectory(_T("empty")));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, statusOf(CloseHandle(search)))
            << "a search has a closing function of its own";
    }
    EXPECT_TRUE(FindClose(search));
    EXPECT_EQ(kDone, removeDirectory(_T("empty")));
}

TEST_F(Files, OnlyADirectoryWithoutEntriesIsEmpty) {
    EXPECT_EQ(kDone, makeDirectory(_T("empty")));
    EXPECT_TRUE(PathIsDirectoryEmptyW(at(_T("empty")).c_str()));
    EXPECT_FALSE(PathIsDirectoryEmptyW(at(_T("folder")).c_str()));
    EXPECT_FALSE(PathIsDirectoryEmptyW(at(_T("file.txt")).c_str()));
}

TEST_F(Files, FullPathsAreResolvedWithoutLookingAtTheDisk) {
    TCHAR here[MAX_PATH] = {};
    ASSERT_NE(nullptr, _wgetcwd(here, MAX_PATH));
    const tstring drive = tstring(here).substr(0, 2);
    const std::pair<tstring, tstring> cases[] = {
        {_T("y\\..\\x\\"), here + tstring(_T("\\x\\"))},
        {_T("\\x"), drive + _T("\\x")},
        {drive + _T("x"), here + tstring(_T("\\x"))},
        {_T("Q:\\a/b\\.\\..\\c"), _T("Q:\\a\\c")},
        {_T("Q:\\a\\..\\.."), _T("Q:\\")},
        {_T("Q:\\a. . "), _T("Q:\\a")},
        {_T("Q:\\a.\\b|?"), _T("Q:\\a\\b|?")},
        {_T("\\\\server\\share\\a\\..\\..\\b"), _T("\\\\server\\share\\b")},
        {_T("\\\\server\\share\\.."), _T("\\\\server\\share\\")},
        {_T("\\\\server\\share\\nul"), _T("\\\\server\\share\\nul")},
        // Blanks and dots after the last separator are dropped before ".." could be seen.
        {_T("Q:\\x\\ . "), _T("Q:\\x\\")},
        {_T("Q:\\x\\.. "), _T("Q:\\x\\")},
        {_T("Q:\\..."), _T("Q:\\")},
        {_T("Q:\\...\\x"), _T("Q:\\..\\x")},
        {_T("Q:\\x. \\y"), _T("Q:\\x. \\y")},
        {_T("1:\\x"), _T("1:\\x")},
        // Devices.
        {_T("Q:\\x\\Nul .txt"), _T("\\\\.\\Nul")},
        {_T("x\\com1:"), _T("\\\\.\\com1")},
        {_T("conout$"), _T("\\\\.\\conout$")},
        {_T("Q:\\nul\\x"), _T("Q:\\nul\\x")},
        {_T("//./Q:/x/../y. "), _T("\\\\.\\Q:\\y")},
        {_T("//?/Q:/x/../y"), _T("\\\\?\\Q:\\y")},
        {_T("\\\\?\\Q:\\x\\..\\y"), _T("\\\\?\\Q:\\y")},
    };
    TCHAR buffer[MAX_PATH] = {};
    for (const auto& [given, expected] : cases) {
        const DWORD length = GetFullPathNameW(given.c_str(), MAX_PATH, buffer, nullptr);
        EXPECT_EQ(expected, tstring(buffer, length)) << testing::PrintToString(given);
        EXPECT_EQ(length + 1, GetFullPathNameW(given.c_str(), length, buffer, nullptr));
    }
}

TEST_F(Files, LongPathsHaveTheNamesOfTheEntries) {
    write(_T("A rather long name.extension"), "long");
    const tstring longer = at(_T("A rather long name.extension"));
    TCHAR buffer[MAX_PATH] = {};
    // Wine's short names have other digits and keep the case.
    const tstring given = at(isWine() ? _T("A rather long name.extension") : _T("arathe~1.EXT"));
    const DWORD length = GetLongPathNameW(given.c_str(), buffer, MAX_PATH);
    EXPECT_EQ(longer, tstring(buffer, length));
    EXPECT_EQ(length + 1, GetLongPathNameW(given.c_str(), buffer, length));
    ASSERT_NE(0u, GetLongPathNameW(at(_T("FOLDER\\")).c_str(), buffer, MAX_PATH));
    EXPECT_EQ(at(_T("folder\\")), buffer);
    EXPECT_EQ(kNoFile, statusOf(GetLongPathNameW(at(_T("none")).c_str(), buffer, MAX_PATH) != 0));
    EXPECT_EQ(kNoPath, statusOf(GetLongPathNameW(_T(""), buffer, MAX_PATH) != 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER},
              statusOf(GetLongPathNameW(nullptr, buffer, MAX_PATH) != 0));
}

TEST_F(Files, PathsAboveTheLimitNeedThePrefix) {
    const tstring prefixed = _T("\\\\?\\") + root_;
    const tstring inner = _T("\\") + tstring(200, _T('p'));
    EXPECT_TRUE(CreateDirectoryW((prefixed + inner).c_str(), nullptr));
    EXPECT_EQ(kDone, File(prefixed + inner + inner, GENERIC_WRITE, 0, CREATE_NEW).status);
    if (!isWine()) {
        EXPECT_EQ(kNoPath, File(root_ + inner + inner, GENERIC_READ).status);
    }
}

/// A junction's REPARSE_DATA_BUFFER.
std::string junction(const tstring& target) {
    const tstring names = _T("\\??\\") + target + _T('\0') + target + _T('\0');
    const std::size_t size = 2 * target.size();
    std::string buffer;
    for (const std::size_t number :
         {std::size_t{LOWORD(IO_REPARSE_TAG_MOUNT_POINT)},
          std::size_t{HIWORD(IO_REPARSE_TAG_MOUNT_POINT)}, 2 * names.size() + 8, std::size_t{0},
          std::size_t{0}, size + 8, size + 10, size}) {
        buffer += {static_cast<char>(number), static_cast<char>(number >> 8)};
    }
    return buffer.append(reinterpret_cast<const char*>(names.data()), 2 * names.size());
}

TEST_F(Files, JunctionsLeadToTheirTargetAndAreCheckedFieldByField) {
    const auto set = [&](std::string in) {
        const File file(at(_T("link")), GENERIC_WRITE, 0, OPEN_EXISTING,
                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT);
        DWORD done = 0;
        return statusOf(DeviceIoControl(file.handle, FSCTL_SET_REPARSE_POINT, in.data(),
                                        static_cast<DWORD>(in.size()), nullptr, 0, &done, nullptr));
    };
    const std::string buffer = junction(at(_T("folder")));
    EXPECT_EQ(kDone, makeDirectory(_T("link")));
    const DWORD status = set(buffer);
    if (isWine() && status == ERROR_NOT_SUPPORTED) {
        GTEST_SKIP() << "this Wine has no reparse points";
    }
    EXPECT_EQ(kDone, status);
    // Each field has to agree with the others: lengths, offsets, the prefix, the size as a whole.
    for (const std::size_t field : {4, 8, 10, 12, 14, 16}) {
        std::string wrong = buffer;
        wrong[field] = static_cast<char>(wrong[field] + 2);
        EXPECT_EQ(DWORD{ERROR_INVALID_REPARSE_DATA}, set(wrong)) << field;
    }
    EXPECT_EQ("inner", read(_T("link\\inner.txt")));
    EXPECT_EQ(kDone, move(_T("folder"), _T("away")));
    EXPECT_EQ("status 3", read(_T("link\\inner.txt")));
    EXPECT_EQ(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT, attributes(_T("link")));
    EXPECT_EQ(kDone, removeDirectory(_T("link")));
}

}  // namespace
