// Windows' C run-time: files, as the log and the configuration are written; and texts.
#include <windows.h>
#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <wchar.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <string>

#include "Setting.h"

namespace {

class CrtTest : public testing::Test {
protected:
    ~CrtTest() override { DeleteFileW(file_.c_str()); }

    int openLog(int& file) const {
        return _wsopen_s(&file, file_.c_str(), _O_WRONLY | _O_APPEND | _O_CREAT, _SH_DENYWR,
                         _S_IREAD | _S_IWRITE);
    }

    std::string content() const {
        FILE* const stream = _wfopen(file_.c_str(), _T("rb"));
        if (stream == nullptr) {
            return "none";
        }
        char buffer[100];
        const std::size_t size = std::fread(buffer, 1, sizeof(buffer), stream);
        EXPECT_EQ(0, std::fclose(stream));
        return std::string(buffer, size);
    }

    const tstring file_ = temporaryPath(_T("NorvCrt"));
};

TEST_F(CrtTest, ALogIsAppendedByOneWriterAtATime) {
    int file = -1;
    int second = 7;
    ASSERT_EQ(0, openLog(file));
    EXPECT_EQ(4, _write(file, "a\nb\n", 4)) << "counts what was given";
    EXPECT_EQ(EACCES, openLog(second));
    EXPECT_EQ(-1, second);
    EXPECT_EQ("a\r\nb\r\n", content()) << "readers are let in";
    struct _stati64 facts = {};
    EXPECT_EQ(0, _fstati64(file, &facts));
    EXPECT_EQ(6, facts.st_size);
    EXPECT_EQ(0, _chsize_s(file, 0));
    EXPECT_EQ(1, _write(file, "c", 1));
    EXPECT_EQ(0, _close(file));
    ASSERT_EQ(0, openLog(file));
    EXPECT_EQ(1, _write(file, "d", 1));
    EXPECT_EQ(0, _close(file));
    EXPECT_EQ("cd", content()) << "appending goes to the new end";
}

TEST_F(CrtTest, ClosingADescriptorClosesItsHandle) {
    const HANDLE handle = CreateFileW(file_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                      CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    const int file = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), 0);
    ASSERT_NE(-1, file);
    EXPECT_EQ(2, _write(file, "x\n", 2));
    EXPECT_EQ(0, _close(file));
    EXPECT_FALSE(CloseHandle(handle));
    EXPECT_EQ("x\n", content()) << "without flags it is binary";
}

TEST_F(CrtTest, ADescriptorWhoseHandleWasClosedIsBad) {
    const HANDLE handle = CreateFileW(file_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                      CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    const int file = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), 0);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_EQ(-1, _write(file, "x", 1));
    EXPECT_EQ(EBADF, errno);
    errno = 0;
    EXPECT_EQ(-1, _close(file));
    EXPECT_EQ(EBADF, errno);
}

TEST_F(CrtTest, StreamsInTextModeWriteLineEnds) {
    EXPECT_EQ("none", content());
    EXPECT_EQ(ENOENT, errno);
    for (const std::string text : {"longer\n", "1\n"}) {
        FILE* stream = _wfopen(file_.c_str(), _T("w"));
        ASSERT_NE(nullptr, stream);
        EXPECT_EQ(0, std::fclose(stream));
        stream = _wfreopen(file_.c_str(), _T("w"), _wfopen(file_.c_str(), _T("r")));
        ASSERT_NE(nullptr, stream);
        EXPECT_EQ(text.size(), std::fwrite(text.data(), 1, text.size(), stream));
        EXPECT_EQ(0, std::fclose(stream));
    }
    EXPECT_EQ("1\r\n", content());
}

TEST_F(CrtTest, MissingAndExistingDirectoriesSetErrno) {
    struct _stat64 facts = {};
    TCHAR current[MAX_PATH] = {};
    ASSERT_EQ(current, _wgetcwd(current, MAX_PATH));
    EXPECT_EQ(0, _wstat64(current, &facts));
    EXPECT_EQ(-1, _wstat64(file_.c_str(), &facts));
    EXPECT_EQ(-1, _wmkdir((file_ + _T("\\x")).c_str()));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, _wmkdir(current));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ(nullptr, _wgetcwd(current, static_cast<int>(tstring(current).size())));
    char text[100] = {};
    EXPECT_EQ(0, strerror_s(text, sizeof(text), ENOENT));
    EXPECT_STREQ("No such file or directory", text);
}

/// The result, and the whole buffer with what the call left alone as '#'.
std::pair<int, tstring> formatInto(std::size_t size, const TCHAR* format, ...) {
    tstring buffer(40, _T('#'));
    std::va_list arguments;
    va_start(arguments, format);
    const int result = _vsnwprintf(buffer.data(), size, format, arguments);
    va_end(arguments);
    return {result, buffer};
}

TEST(TextTest, FormatsWriteWideStringsAndNumbers) {
    EXPECT_EQ(tstring(_T("a\x20AC|-1| -12|4294967295|007|0000ABCD|%")),
              formatInto(40, _T("%s|%d|%4d|%u|%03u|%08X|%%"), _T("a\x20AC"), -1, -12, 0xFFFFFFFFu,
                         7u, 0xABCDu)
                  .second.c_str());
    // The size of the buffer, and the buffer with what follows it.
    const std::pair<std::size_t, const TCHAR*> kCases[] = {
        {0, _T("######")}, {3, _T("123###")}, {4, _T("1234##")}, {5, _T("1234\0#")}};
    for (const auto& [size, expected] : kCases) {
        const auto [result, buffer] = formatInto(size, _T("%d"), 1234);
        EXPECT_EQ(result, size < 4 ? -1 : 4) << size;
        EXPECT_EQ(buffer.substr(0, 6), tstring(expected, 6)) << size;
    }
    char narrow[] = "##########";
    EXPECT_EQ(_snprintf(narrow, 9, "%g", -2.5e7), 9);
    EXPECT_STREQ(narrow, "-2.5e+007#");
}

/// The wide text of a narrow one; "?" if it is none.
tstring wideOf(UINT codePage, const std::string& text) {
    TCHAR wide[20] = {};
    const auto convert = [&](int size) {
        return MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.data(),
                                   static_cast<int>(text.size()), wide, size);
    };
    const int size = convert(0);
    EXPECT_EQ(size, convert(20));
    if (size == 0) {
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
        return _T("?");
    }
    return tstring(wide, static_cast<std::size_t>(size));
}

/// The UTF-8 of a wide text.
std::string narrowOf(const tstring& text) {
    char narrow[20] = {};
    const auto convert = [&](int size) {
        return WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow,
                                   size, nullptr, nullptr);
    };
    const int size = convert(0);
    EXPECT_EQ(size, convert(20));
    return std::string(narrow, static_cast<std::size_t>(size));
}

TEST(TextTest, WideStringsAndUtf8AreConvertedIntoEachOther) {
    const std::pair<std::string, tstring> kCases[] = {
        {std::string("\0x", 2), tstring({0, 'x'})},
        {"\xC3\xA4\xE2\x82\xAC\xEF\xBF\xBD", {0xE4, 0x20AC, 0xFFFD}},
        {"\xF0\x9F\x98\x80", {0xD83D, 0xDE00}},
    };
    for (const auto& [text, wide] : kCases) {
        EXPECT_EQ(wideOf(CP_UTF8, text), wide);
        EXPECT_EQ(narrowOf(wide), text);
    }
    EXPECT_EQ(narrowOf({0xD83D, 'x'}), "\xEF\xBF\xBDx");
    EXPECT_EQ(wideOf(CP_ACP, "a\x80\xE4\xFF"), tstring({'a', 0x20AC, 0xE4, 0xFF}));
    TCHAR ended[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "abc", -1, ended, 4), 4);
    EXPECT_EQ(tstring(ended), _T("abc"));
    for (const std::string text : {"\xFF", "a\x80z", "\xC3", "\xC0\x80", "\xE2\x82z",
                                   "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF0\x9F\x98"}) {
        EXPECT_EQ(wideOf(CP_UTF8, text), _T("?")) << testing::PrintToString(text);
    }
}

}  // namespace
