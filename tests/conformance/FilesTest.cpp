// Files and directories: opening and sharing, deleting, copying and moving, names, searches, links.
//
// Where Wine differs, the machine follows Microsoft's pages: Wine has no limit of a path's length
// ("Maximum Path Length Limitation"), older ones have no reparse points
// ("FSCTL_SET_REPARSE_POINT"), files that are deleted while they are open are gone at once
// ("DeleteFileW"), access lists are what a Unix mode can tell of them ("SetFileSecurityW"), a
// delayed move may miss its source ("MoveFileExW"), searches hold nothing ("FindFirstFileW"), a
// name that is moved to another case keeps its own, and for a user who may write everything no file
// is kept from being written by its read-only attribute ("File Attribute Constants").
#include <windows.h>
#include <direct.h>
#include <sddl.h>
#include <shlwapi.h>
#include <winioctl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Inspection.h"

namespace {

constexpr DWORD kDone = ERROR_SUCCESS;
constexpr DWORD kDenied = ERROR_ACCESS_DENIED;
constexpr DWORD kShared = ERROR_SHARING_VIOLATION;
constexpr DWORD kNoFile = ERROR_FILE_NOT_FOUND;
constexpr DWORD kNoPath = ERROR_PATH_NOT_FOUND;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

DWORD statusOf(BOOL done) {
    return done != FALSE ? ERROR_SUCCESS : GetLastError();
}

/// An open file that closes itself.
class File {
public:
    File(const tstring& path, DWORD access, DWORD share = kShareAll,
         DWORD disposition = OPEN_EXISTING, DWORD flags = FILE_ATTRIBUTE_NORMAL)
        : handle_(CreateFileW(path.c_str(), access, share, nullptr, disposition, flags, nullptr)),
          status_(isOpen() ? ERROR_SUCCESS : GetLastError()) {}
    ~File() { close(); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    HANDLE get() const { return handle_; }
    bool isOpen() const { return handle_ != INVALID_HANDLE_VALUE; }
    DWORD status() const { return status_; }
    void close() {
        if (isOpen()) {
            EXPECT_TRUE(CloseHandle(handle_));
        }
        handle_ = INVALID_HANDLE_VALUE;
    }

private:
    HANDLE handle_;
    DWORD status_;
};

std::string readAll(HANDLE file) {
    std::string content(1000, '\0');
    DWORD done = 0;
    EXPECT_TRUE(ReadFile(file, content.data(), static_cast<DWORD>(content.size()), &done, nullptr));
    content.resize(done);
    return content;
}

std::vector<tstring> namesIn(const tstring& directory) {
    std::vector<tstring> names;
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileW((directory + _T("\\*")).c_str(), &data);
    if (find == INVALID_HANDLE_VALUE) {
        return names;
    }
    do {
        names.push_back(data.cFileName);
    } while (FindNextFileW(find, &data));
    EXPECT_EQ(DWORD{ERROR_NO_MORE_FILES}, GetLastError());
    EXPECT_TRUE(FindClose(find));
    return names;
}

/// A fresh directory for each test, with a few things in it.
class Files : public testing::Test {
protected:
    void SetUp() override {
        TCHAR temporary[MAX_PATH] = {};
        ASSERT_NE(0u, GetTempPathW(MAX_PATH, temporary));
        TCHAR whole[MAX_PATH] = {};
        ASSERT_NE(0u, GetLongPathNameW(temporary, whole, MAX_PATH));
        root_ = tstring(whole) + _T("norv conformance");
        removeTree(root_);
        ASSERT_TRUE(CreateDirectoryW(root_.c_str(), nullptr));
        EXPECT_EQ(kDone, makeDirectory(_T("folder")));
        write(_T("folder\\inner.txt"), "inner");
        write(_T("file.txt"), "content");
        write(_T("fixed.txt"), "fixed");
        ASSERT_TRUE(SetFileAttributesW(at(_T("fixed.txt")).c_str(), FILE_ATTRIBUTE_READONLY));
    }

    void TearDown() override { removeTree(root_); }

    tstring at(const tstring& name) const { return root_ + _T("\\") + name; }

    void write(const tstring& name, const std::string& content) {
        FILE* const file = _wfopen(at(name).c_str(), _T("w"));
        ASSERT_NE(nullptr, file);
        EXPECT_EQ(content.size(), std::fwrite(content.data(), 1, content.size(), file));
        EXPECT_EQ(0, std::fclose(file));
    }

    std::string read(const tstring& name) const {
        const File file(at(name), GENERIC_READ);
        return file.isOpen() ? readAll(file.get()) : "status " + std::to_string(file.status());
    }

    bool exists(const tstring& name) const {
        return GetFileAttributesW(at(name).c_str()) != INVALID_FILE_ATTRIBUTES;
    }

    // What a call on things in the directory gives.
    DWORD make(const tstring& name) const {
        return File(at(name), GENERIC_WRITE, kShareAll, CREATE_NEW).status();
    }
    DWORD makeDirectory(const tstring& name) const {
        return statusOf(CreateDirectoryW(at(name).c_str(), nullptr));
    }
    DWORD remove(const tstring& name) const { return statusOf(DeleteFileW(at(name).c_str())); }
    DWORD removeDirectory(const tstring& name) const {
        return statusOf(RemoveDirectoryW(at(name).c_str()));
    }
    DWORD copy(const tstring& from, const tstring& to, bool replaces) const {
        return statusOf(CopyFileW(at(from).c_str(), at(to).c_str(), replaces ? FALSE : TRUE));
    }
    DWORD move(const tstring& from, const tstring& to, DWORD flags = 0) const {
        return statusOf(MoveFileExW(at(from).c_str(), at(to).c_str(), flags));
    }

    static void removeTree(const tstring& path) {
        for (const tstring& name : namesIn(path)) {
            const tstring inner = path + _T("\\") + name;
            const DWORD attributes = GetFileAttributesW(inner.c_str());
            if (name == _T(".") || name == _T("..")) {
                continue;
            }
            SetFileAttributesW(inner.c_str(), FILE_ATTRIBUTE_NORMAL);
            if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
                EXPECT_TRUE(DeleteFileW(inner.c_str()));
            } else if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
                EXPECT_TRUE(RemoveDirectoryW(inner.c_str()));
            } else {
                removeTree(inner);
            }
        }
        RemoveDirectoryW(path.c_str());
    }

    tstring root_;
};

TEST_F(Files, CallsAnswerWithTheStatusOfWhatIsThere) {
    const auto open = [&](const TCHAR* name, DWORD flags = 0) {
        return File(at(name), GENERIC_READ, kShareAll, OPEN_EXISTING, flags).status();
    };
    // In this order.
    const std::pair<DWORD, DWORD> cases[] = {
        {kDone, open(_T("FILE.TXT"))},
        {kDone, open(_T("folder/./../file.txt. ."))},
        {kDone, open(_T("folder"), FILE_FLAG_BACKUP_SEMANTICS)},
        {kDenied, open(_T("folder"))},
        {kNoFile, open(_T("none.txt"))},
        {kNoPath, open(_T("none\\x.txt"))},
        {kNoPath, open(_T("file.txt\\x.txt"))},
        {ERROR_INVALID_NAME, open(_T("a*"))},
        {kNoPath, File(_T(""), GENERIC_READ).status()},
        {kNoPath, make(_T("none\\x.txt"))},
        {ERROR_FILE_EXISTS, make(_T("file.txt"))},
        {ERROR_FILE_EXISTS, make(_T("folder"))},
        {kDone, makeDirectory(_T("made"))},
        {ERROR_ALREADY_EXISTS, makeDirectory(_T("MADE\\"))},
        {kNoPath, makeDirectory(_T("made\\deep\\er"))},
        {kDone, makeDirectory(_T("made\\deep\\"))},
        {kDone, makeDirectory(_T("dots..."))},
        {ERROR_ALREADY_EXISTS, makeDirectory(_T("dots"))},
        {ERROR_ALREADY_EXISTS, makeDirectory(_T("file.txt"))},
        {kNoFile, remove(_T("none"))},
        {kDenied, remove(_T("folder"))},
        {kNoFile, removeDirectory(_T("none"))},
        {ERROR_DIR_NOT_EMPTY, removeDirectory(_T("folder"))},
        {ERROR_DIRECTORY, removeDirectory(_T("fixed.txt"))},
        {kDone, removeDirectory(_T("dots\\"))},
        {FILE_ATTRIBUTE_DIRECTORY, GetFileAttributesW(at(_T("made/deep\\")).c_str())},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].first, cases[i].second) << "row " << i;
    }
    SetLastError(ERROR_ACCESS_DENIED);
    const File made(at(_T("new.txt")), GENERIC_WRITE, 0, CREATE_NEW);
    EXPECT_EQ(kDone, GetLastError()) << "opening succeeds with a status too";
}

TEST_F(Files, ReadOnlyFilesAreNotWritten) {
    EXPECT_EQ(kDenied, remove(_T("fixed.txt")));
    if (isWine()) {
        return;  // it lets its user write them
    }
    EXPECT_EQ(kDenied, File(at(_T("fixed.txt")), GENERIC_WRITE).status());
    EXPECT_EQ(kDenied, copy(_T("file.txt"), _T("fixed.txt"), true));
    EXPECT_EQ(kDenied, move(_T("file.txt"), _T("fixed.txt"), MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(nullptr, _wfopen(at(_T("fixed.txt")).c_str(), _T("w")));
    EXPECT_EQ(EACCES, errno);
    EXPECT_EQ(kDone, move(_T("fixed.txt"), _T("moved.txt"))) << "a name is no content";
}

TEST_F(Files, ReadingGoesOnAtThePosition) {
    const File file(at(_T("file.txt")), GENERIC_READ);
    LARGE_INTEGER to = {};
    LARGE_INTEGER position = {};
    DWORD done = 0;
    char buffer[4] = {};
    ASSERT_TRUE(ReadFile(file.get(), buffer, 3, &done, nullptr));
    EXPECT_EQ("con", std::string(buffer, done));
    to.QuadPart = 2;
    ASSERT_TRUE(SetFilePointerEx(file.get(), to, &position, FILE_END));
    EXPECT_EQ(9, position.QuadPart);
    ASSERT_TRUE(ReadFile(file.get(), buffer, 3, &done, nullptr)) << "reading at the end succeeds";
    EXPECT_EQ(0u, done);
    ASSERT_TRUE(SetFilePointerEx(file.get(), to, nullptr, FILE_BEGIN));
    EXPECT_EQ("ntent", readAll(file.get()));
    to.QuadPart = -8;
    EXPECT_EQ(DWORD{ERROR_NEGATIVE_SEEK},
              statusOf(SetFilePointerEx(file.get(), to, nullptr, FILE_END)));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE},
              statusOf(ReadFile(INVALID_HANDLE_VALUE, buffer, 1, &done, nullptr)));
}

TEST_F(Files, OpenFilesKeepOthersOutByTheirShareMode) {
    const struct {
        DWORD firstAccess;
        DWORD firstShare;
        DWORD secondAccess;
        DWORD secondShare;
        DWORD expected;
    } cases[] = {
        {GENERIC_READ, 0, GENERIC_READ, kShareAll, kShared},
        {GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, kDone},
        {GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, kShareAll, kShared},
        {GENERIC_WRITE, kShareAll, GENERIC_READ, FILE_SHARE_READ, kShared},
        {GENERIC_WRITE, kShareAll, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, kDone},
        {GENERIC_WRITE, kShareAll, GENERIC_WRITE, 0, kShared},
    };
    for (const auto& c : cases) {
        const File first(at(_T("file.txt")), c.firstAccess, c.firstShare);
        const File second(at(_T("file.txt")), c.secondAccess, c.secondShare);
        EXPECT_EQ(c.expected, second.status())
            << c.firstAccess << " " << c.firstShare << " " << c.secondAccess;
    }
    File open(at(_T("file.txt")), GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(kShared, remove(_T("file.txt")));
    EXPECT_EQ(kShared, move(_T("file.txt"), _T("other.txt")));
    EXPECT_EQ(kDone, copy(_T("file.txt"), _T("other.txt"), false)) << "reading is shared";
    EXPECT_EQ(kShared, copy(_T("other.txt"), _T("file.txt"), true));
    EXPECT_EQ(kDenied, move(_T("other.txt"), _T("file.txt"), MOVEFILE_REPLACE_EXISTING));
    open.close();
    EXPECT_EQ(kDone, remove(_T("file.txt")));

    File shared(at(_T("other.txt")), GENERIC_READ, kShareAll);
    EXPECT_EQ(kDone, remove(_T("other.txt"))) << "deletion is shared";
    EXPECT_EQ("content", readAll(shared.get())) << "its user keeps the file";
    if (!isWine()) {
        EXPECT_FALSE(exists(_T("other.txt")));
        EXPECT_EQ("status 5", read(_T("other.txt")));
        EXPECT_EQ(kDenied, make(_T("other.txt")));
    }
    shared.close();
    EXPECT_EQ("status 2", read(_T("other.txt")));
}

TEST_F(Files, WhoHasADirectoryOpenHoldsIt) {
    File held(at(_T("folder")), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING,
              FILE_FLAG_BACKUP_SEMANTICS);
    EXPECT_EQ(kShared, removeDirectory(_T("folder")));
    held.close();
    EXPECT_EQ(kDone, makeDirectory(_T("folder\\below")));
    WIN32_FIND_DATAW data;
    const HANDLE find = FindFirstFileW(at(_T("folder\\below\\*")).c_str(), &data);
    EXPECT_EQ(tstring(_T(".")), data.cFileName);
    EXPECT_EQ(DWORD{FILE_ATTRIBUTE_DIRECTORY}, data.dwFileAttributes);
    EXPECT_EQ(kDone, remove(_T("folder\\inner.txt")));
    if (!isWine()) {
        EXPECT_EQ(kShared, removeDirectory(_T("folder\\below")));
        EXPECT_EQ(DWORD{ERROR_DIR_NOT_EMPTY}, removeDirectory(_T("folder")));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, statusOf(CloseHandle(find)))
            << "a search has a closing function of its own";
    }
    EXPECT_TRUE(FindClose(find));
    EXPECT_EQ(kDone, removeDirectory(_T("folder\\below")));
}

TEST_F(Files, CopiesAndMovesRespectWhatIsThere) {
    const std::pair<DWORD, DWORD> cases[] = {
        {ERROR_FILE_EXISTS, copy(_T("file.txt"), _T("fixed.txt"), false)},
        {kDenied, copy(_T("folder"), _T("x"), true)},
        {kDenied, copy(_T("file.txt"), _T("folder"), true)},
        {kShared, copy(_T("file.txt"), _T("FILE.txt"), true)},
        {kNoFile, copy(_T("none"), _T("x"), true)},
        {kNoPath, copy(_T("file.txt"), _T("none\\x"), true)},
        {kDone, copy(_T("fixed.txt"), _T("copy.txt"), false)},
        {FILE_ATTRIBUTE_READONLY,
         GetFileAttributesW(at(_T("copy.txt")).c_str()) & FILE_ATTRIBUTE_READONLY},
        {kDone, statusOf(SetFileAttributesW(at(_T("copy.txt")).c_str(), FILE_ATTRIBUTE_NORMAL))},
        {kNoFile, move(_T("none"), _T("x"))},
        {kNoPath, move(_T("file.txt"), _T("none\\x"))},
        {ERROR_ALREADY_EXISTS, move(_T("file.txt"), _T("copy.txt"))},
        {kDenied, move(_T("file.txt"), _T("folder"), MOVEFILE_REPLACE_EXISTING)},
        {kDone, move(_T("file.txt"), _T("copy.txt"), MOVEFILE_REPLACE_EXISTING)},
        {kDone, move(_T("copy.txt"), _T("COPY.txt"))},
        {kDone, move(_T("folder"), _T("moved"), MOVEFILE_COPY_ALLOWED)},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].first, cases[i].second) << "row " << i;
    }
    EXPECT_EQ("content", read(_T("copy.txt")));
    EXPECT_FALSE(exists(_T("file.txt")));
    EXPECT_EQ("inner", read(_T("moved\\inner.txt")));
    if (!isWine()) {
        EXPECT_EQ(_T("COPY.txt"), namesIn(root_).at(2));
    }
}

TEST_F(Files, MovesArePutOff) {
    constexpr DWORD kDelay = MOVEFILE_DELAY_UNTIL_REBOOT;
    const tstring file = at(_T("file.txt"));
    const tstring other = at(_T("other.txt"));
    ASSERT_TRUE(MoveFileExW(file.c_str(), other.c_str(), kDelay | MOVEFILE_REPLACE_EXISTING));
    EXPECT_EQ(std::pair(file, other), lastDelayedMove());
    ASSERT_TRUE(MoveFileExW(file.c_str(), nullptr, kDelay));
    EXPECT_EQ(std::pair(file, tstring()), lastDelayedMove());
    EXPECT_EQ("content", read(_T("file.txt")));
    if (!isWine()) {
        EXPECT_EQ(kNoFile, statusOf(MoveFileExW(other.c_str(), nullptr, kDelay)));
    }
}

TEST_F(Files, SearchesTellNamesInOrder) {
    write(_T("Beta one.txt"), "");
    write(_T("alpha.dat"), "12345");
    EXPECT_EQ((std::vector<tstring>{_T("."), _T(".."), _T("alpha.dat"), _T("Beta one.txt"),
                                    _T("file.txt"), _T("fixed.txt"), _T("folder")}),
              namesIn(root_));
    WIN32_FIND_DATAW data;
    EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(at(_T("none\\*")).c_str(), &data));
    EXPECT_EQ(kNoPath, GetLastError());
    EXPECT_EQ(INVALID_HANDLE_VALUE, FindFirstFileW(at(_T("file.txt\\*")).c_str(), &data));
    EXPECT_EQ(isWine() ? DWORD{ERROR_INVALID_NAME} : DWORD{ERROR_DIRECTORY}, GetLastError());

    EXPECT_EQ(kDone, makeDirectory(_T("empty")));
    EXPECT_TRUE(PathIsDirectoryEmptyW(at(_T("empty")).c_str()));
    EXPECT_FALSE(PathIsDirectoryEmptyW(at(_T("folder")).c_str()));
    EXPECT_FALSE(PathIsDirectoryEmptyW(at(_T("file.txt")).c_str()));
    EXPECT_FALSE(PathIsDirectoryEmptyW(at(_T("none")).c_str()));
}

TEST_F(Files, FullPathsAreMadeOfTextAlone) {
    TCHAR here[MAX_PATH] = {};
    ASSERT_NE(nullptr, _wgetcwd(here, MAX_PATH));
    const tstring drive = tstring(here).substr(0, 2);
    const std::pair<tstring, tstring> cases[] = {
        {_T("x"), here + tstring(_T("\\x"))},
        {_T("y\\..\\x\\"), here + tstring(_T("\\x\\"))},
        {_T("\\x"), drive + _T("\\x")},
        {drive + _T("x"), here + tstring(_T("\\x"))},
        {_T("Q:\\a/b\\.\\..\\c"), _T("Q:\\a\\c")},
        {_T("Q:\\..\\..\\a"), _T("Q:\\a")},
        {_T("Q:\\a\\.."), _T("Q:\\")},
        {_T("Q:\\a. . "), _T("Q:\\a")},
        {_T("Q:\\a.\\b"), _T("Q:\\a\\b")},
        {_T("Q:\\a|b?"), _T("Q:\\a|b?")},
        {_T("\\\\server\\share\\a\\..\\..\\b"), _T("\\\\server\\share\\b")},
    };
    TCHAR buffer[MAX_PATH] = {};
    for (const auto& [given, expected] : cases) {
        const DWORD length = GetFullPathNameW(given.c_str(), MAX_PATH, buffer, nullptr);
        EXPECT_EQ(expected, tstring(buffer, length)) << testing::PrintToString(given);
        EXPECT_EQ(length + 1, GetFullPathNameW(given.c_str(), length, buffer, nullptr));
    }
    EXPECT_EQ(0u, GetFullPathNameW(_T(""), MAX_PATH, buffer, nullptr));
}

TEST_F(Files, LongNamesAreThoseOfWhatIsThere) {
    write(_T("A rather long name.extension"), "long");
    const tstring longer = at(_T("A rather long name.extension"));
    TCHAR buffer[MAX_PATH] = {};
    // Wine's short names have other digits, and it keeps the case that is given.
    const tstring given = at(isWine() ? _T("A rather long name.extension") : _T("arathe~1.EXT"));
    const DWORD length = GetLongPathNameW(given.c_str(), buffer, MAX_PATH);
    EXPECT_EQ(longer, tstring(buffer, length));
    EXPECT_EQ(length + 1, GetLongPathNameW(given.c_str(), buffer, length));
    ASSERT_NE(0u, GetLongPathNameW(at(_T("FOLDER\\")).c_str(), buffer, MAX_PATH));
    EXPECT_EQ(at(_T("folder\\")), buffer);
    EXPECT_EQ(0u, GetLongPathNameW(at(_T("none")).c_str(), buffer, MAX_PATH));
    EXPECT_EQ(kNoFile, GetLastError());
}

TEST_F(Files, LongPathsWantThePrefix) {
    const tstring prefixed = _T("\\\\?\\") + root_;
    const tstring inner = _T("\\") + tstring(200, _T('p'));
    ASSERT_TRUE(CreateDirectoryW((prefixed + inner).c_str(), nullptr));
    EXPECT_EQ(kDone, File(prefixed + inner + inner, GENERIC_WRITE, 0, CREATE_NEW).status());
    if (!isWine()) {
        EXPECT_EQ(kNoPath, File(root_ + inner + inner, GENERIC_READ).status());
        EXPECT_EQ(DWORD{ERROR_FILENAME_EXCED_RANGE},
                  statusOf(CreateDirectoryW(at(tstring(250, _T('p'))).c_str(), nullptr)));
    }
    EXPECT_TRUE(DeleteFileW((prefixed + inner + inner).c_str()));
    EXPECT_TRUE(RemoveDirectoryW((prefixed + inner).c_str()));
}

TEST_F(Files, DrivesHaveTypes) {
    EXPECT_EQ(UINT{DRIVE_FIXED}, GetDriveTypeW(root_.substr(0, 3).c_str()));
    EXPECT_EQ(UINT{DRIVE_NO_ROOT_DIR}, GetDriveTypeW(_T("B:\\")));
    EXPECT_EQ(UINT{DRIVE_NO_ROOT_DIR}, GetDriveTypeW(_T("*:\\")));
}

/// A junction's REPARSE_DATA_BUFFER.
std::string junction(const tstring& target) {
    const tstring substitute = _T("\\??\\") + target;
    std::string buffer(16, '\0');
    const auto put = [&](std::size_t offset, std::size_t value) {
        buffer[offset] = static_cast<char>(value & 0xff);
        buffer[offset + 1] = static_cast<char>(value >> 8);
    };
    const auto append = [&](const tstring& name) {
        buffer.append(reinterpret_cast<const char*>(name.c_str()), 2 * (name.size() + 1));
    };
    append(substitute);
    append(target);
    const DWORD tag = IO_REPARSE_TAG_MOUNT_POINT;
    std::memcpy(buffer.data(), &tag, sizeof(tag));
    put(4, buffer.size() - 8);
    put(10, 2 * substitute.size());
    put(12, 2 * substitute.size() + 2);
    put(14, 2 * target.size());
    return buffer;
}

TEST_F(Files, JunctionsLeadToTheirTarget) {
    constexpr DWORD kLinkFlags = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;
    const tstring link = at(_T("link"));
    EXPECT_EQ(kDone, makeDirectory(_T("link")));
    const std::string buffer = junction(at(_T("folder")));
    const auto set = [&](const tstring& path, std::string in, DWORD access = GENERIC_WRITE) {
        const File file(path, access, 0, OPEN_EXISTING, kLinkFlags);
        DWORD done = 0;
        return statusOf(DeviceIoControl(file.get(), FSCTL_SET_REPARSE_POINT, in.data(),
                                        static_cast<DWORD>(in.size()), nullptr, 0, &done, nullptr));
    };
    std::string out;
    const auto get = [&](const tstring& path, std::size_t size) {
        const File file(path, GENERIC_READ, 0, OPEN_EXISTING, kLinkFlags);
        DWORD done = 0;
        out.assign(size, '\0');
        const DWORD status =
            statusOf(DeviceIoControl(file.get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, out.data(),
                                     static_cast<DWORD>(size), &done, nullptr));
        out.resize(done);
        return status;
    };
    EXPECT_EQ(DWORD{ERROR_NOT_A_REPARSE_POINT}, get(at(_T("folder")), 100));
    const DWORD status = set(link, buffer);
    if (isWine() && status == ERROR_NOT_SUPPORTED) {
        GTEST_SKIP() << "this Wine has no reparse points";
    }
    ASSERT_EQ(kDone, status);
    EXPECT_EQ(DWORD{FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT},
              GetFileAttributesW(link.c_str()));
    EXPECT_EQ(kDone, get(link, MAXIMUM_REPARSE_DATA_BUFFER_SIZE));
    EXPECT_EQ(buffer, out);
    EXPECT_EQ(DWORD{ERROR_MORE_DATA}, get(link, buffer.size() - 1));
    EXPECT_EQ(kDenied, set(link, buffer, GENERIC_READ));
    EXPECT_EQ(DWORD{ERROR_DIR_NOT_EMPTY}, set(at(_T("folder")), buffer));
    // Each field has to agree with the others: lengths, offsets, the prefix, the size as a whole.
    for (const std::size_t field : {4, 8, 10, 12, 14, 16}) {
        std::string wrong = buffer;
        wrong[field] = static_cast<char>(wrong[field] + 2);
        EXPECT_EQ(DWORD{ERROR_INVALID_REPARSE_DATA}, set(link, wrong)) << field;
    }
    EXPECT_EQ(DWORD{ERROR_INVALID_REPARSE_DATA}, set(link, buffer.substr(0, buffer.size() - 2)));

    EXPECT_EQ("inner", read(_T("link\\inner.txt")));
    write(_T("link\\more.txt"), "more");
    EXPECT_EQ("more", read(_T("folder\\more.txt")));
    TCHAR longer[MAX_PATH] = {};
    ASSERT_NE(0u, GetLongPathNameW(at(_T("LINK\\INNER.txt")).c_str(), longer, MAX_PATH));
    EXPECT_EQ(at(_T("link\\inner.txt")), longer);
    EXPECT_EQ(kDenied, statusOf(DeleteFileW(link.c_str())));

    // A link whose target is away is still there itself.
    EXPECT_EQ(kDone, move(_T("folder"), _T("away")));
    EXPECT_TRUE(exists(_T("link")));
    EXPECT_EQ("status 3", read(_T("link\\inner.txt")));
    EXPECT_EQ(kDone, move(_T("away"), _T("folder")));
    EXPECT_TRUE(RemoveDirectoryW(link.c_str()));
    EXPECT_FALSE(exists(_T("link")));
    EXPECT_EQ("inner", read(_T("folder\\inner.txt"))) << "only the link went";
}

TEST_F(Files, AccessListsCanBeReadBack) {
    const tstring list = _T("D:(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)");
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1,
                                                                     &descriptor, nullptr));
    const auto set = [&](const TCHAR* name) {
        return statusOf(SetFileSecurityW(at(name).c_str(), DACL_SECURITY_INFORMATION, descriptor));
    };
    EXPECT_EQ(kDone, set(_T("folder")));
    EXPECT_EQ(kNoFile, set(_T("none")));
    LocalFree(descriptor);
    if (!isWine()) {
        EXPECT_EQ(list, accessList(at(_T("folder"))));
    }
}

}  // namespace
