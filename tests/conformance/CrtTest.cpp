// Files of Windows' C run-time, as the log and the configuration are written.
#include <windows.h>
#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <tchar.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "Inspection.h"

namespace {

class CrtTest : public testing::Test {
protected:
    CrtTest() {
        TCHAR buffer[MAX_PATH];
        directory_ = tstring(buffer, GetTempPathW(MAX_PATH, buffer)) + _T("NorvCrt");
        file_ = directory_ + _T("\\file");
        EXPECT_EQ(0, _wmkdir(directory_.c_str()));
    }
    ~CrtTest() override {
        DeleteFileW(file_.c_str());
        EXPECT_TRUE(RemoveDirectoryW(directory_.c_str()));
    }

    std::string content() const {
        const HANDLE file =
            CreateFileW(file_.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        char buffer[100];
        DWORD done = 0;
        EXPECT_TRUE(ReadFile(file, buffer, sizeof(buffer), &done, nullptr));
        EXPECT_TRUE(CloseHandle(file));
        return std::string(buffer, done);
    }

    int openLog(int& file) const {
        return _wsopen_s(&file, file_.c_str(), _O_WRONLY | _O_APPEND | _O_CREAT, _SH_DENYWR,
                         _S_IREAD | _S_IWRITE);
    }

    tstring directory_;
    tstring file_;
};

TEST_F(CrtTest, ALogIsAppendedToByOneWriter) {
    int file = -1;
    ASSERT_EQ(0, openLog(file));
    EXPECT_EQ(4, _write(file, "a\nb\n", 4)) << "counts what was given";
    int second = 7;
    EXPECT_EQ(EACCES, openLog(second));
    EXPECT_EQ(-1, second);
    EXPECT_EQ("a\r\nb\r\n", content()) << "readers are let in";
    struct _stati64 facts = {};
    EXPECT_EQ(0, _fstati64(file, &facts));
    EXPECT_EQ(6, facts.st_size);
    EXPECT_EQ(0, _chsize_s(file, 0));
    EXPECT_EQ(1, _write(file, "c", 1));
    EXPECT_EQ(0, _close(file));
    EXPECT_EQ("c", content()) << "appending goes to the new end";
    SetLastError(ERROR_INVALID_DATA);
    ASSERT_EQ(0, openLog(file));
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
    EXPECT_EQ(0, _close(file));
}

TEST_F(CrtTest, ADescriptorOwnsItsHandle) {
    const HANDLE handle = CreateFileW(file_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                      CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    const int file = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), 0);
    ASSERT_NE(-1, file);
    EXPECT_EQ(2, _write(file, "x\n", 2));
    EXPECT_EQ(0, _close(file));
    EXPECT_FALSE(CloseHandle(handle));
    EXPECT_EQ("x\n", content()) << "without flags it is binary";
}

TEST_F(CrtTest, StreamsReadAndWriteInTheirMode) {
    EXPECT_EQ(nullptr, _wfopen(file_.c_str(), _T("rb")));
    EXPECT_EQ(ENOENT, errno);
    FILE* stream = _wfopen(file_.c_str(), _T("w"));
    ASSERT_NE(nullptr, stream);
    EXPECT_EQ(1u, std::fwrite("1\n2\n", 4, 1, stream));
    EXPECT_EQ(0, std::fclose(stream));
    char buffer[100];
    stream = _wfopen(file_.c_str(), _T("rb"));
    EXPECT_EQ(6u, std::fread(buffer, 1, 6, stream));
    EXPECT_EQ("1\r\n2\r\n", std::string(buffer, 6));
    EXPECT_FALSE(std::feof(stream)) << "the end is met only behind the last";
    EXPECT_EQ(0u, std::fread(buffer, 1, 1, stream));
    EXPECT_TRUE(std::feof(stream));
    EXPECT_EQ(0, std::fclose(stream));
    stream = _wfreopen(file_.c_str(), _T("w"), _wfopen(file_.c_str(), _T("r")));
    EXPECT_EQ(1u, std::fwrite("new\n", 4, 1, stream));
    EXPECT_EQ(0, std::fclose(stream));
    EXPECT_EQ("new\r\n", content());
}

TEST_F(CrtTest, DirectoriesAndErrors) {
    struct _stat64 facts = {};
    EXPECT_EQ(0, _wstat64(directory_.c_str(), &facts));
    for (const tstring& none : {directory_ + _T("\\"), file_, file_ + _T("\\x")}) {
        EXPECT_EQ(-1, _wstat64(none.c_str(), &facts)) << testing::PrintToString(none);
        EXPECT_EQ(ENOENT, errno);
    }
    EXPECT_EQ(-1, _wmkdir(directory_.c_str()));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ(-1, _wmkdir((file_ + _T("\\x")).c_str()));
    EXPECT_EQ(ENOENT, errno);
    TCHAR current[MAX_PATH] = {};
    ASSERT_EQ(current, _wgetcwd(current, MAX_PATH));
    const tstring whole = current;
    EXPECT_EQ(current, _wgetcwd(current, static_cast<int>(whole.size()) + 1));
    EXPECT_EQ(nullptr, _wgetcwd(current, static_cast<int>(whole.size())));
    EXPECT_EQ(ERANGE, errno);
    char text[100] = {};
    EXPECT_EQ(0, strerror_s(text, sizeof(text), ENOENT));
    EXPECT_STREQ("No such file or directory", text);
    EXPECT_EQ(0, strerror_s(text, 5, EACCES));
    EXPECT_STREQ("Perm", text);
}

}  // namespace
