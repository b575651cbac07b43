#include <windows.h>
#include <tchar.h>
#include <stdio.h>
#include <wchar.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include "Inspection.h"

namespace {

struct Formatted {
    int result;
    tstring buffer;  ///< whole, with what the call left alone as '#'
};

Formatted formatInto(std::size_t size, const TCHAR* format, ...) {
    tstring buffer(40, _T('#'));
    std::va_list arguments;
    va_start(arguments, format);
    const int result = _vsnwprintf(&buffer[0], size, format, arguments);
    va_end(arguments);
    return {result, buffer};
}

TEST(TextTest, FormatsTakeWideTextsAndNumbers) {
    const Formatted all = formatInto(40, _T("%s|%d|%4d|%u|%03u|%08X|%%"), _T("a\x20AC"), -1, -12,
                                     0xFFFFFFFFu, 7u, 0xABCDu);
    EXPECT_EQ(all.buffer.substr(0, static_cast<std::size_t>(all.result)),
              _T("a\x20AC|-1| -12|4294967295|007|0000ABCD|%"));
    // The room, and what stands in it and behind it.
    const std::pair<std::size_t, const TCHAR*> kCases[] = {
        {0, _T("######")}, {3, _T("123###")}, {4, _T("1234##")}, {5, _T("1234\0#")}};
    for (const auto& [size, expected] : kCases) {
        const Formatted formatted = formatInto(size, _T("%d"), 1234);
        EXPECT_EQ(formatted.result, size < 4 ? -1 : 4) << size;
        EXPECT_EQ(formatted.buffer.substr(0, 6), tstring(expected, 6)) << size;
    }
    char narrow[8];
    EXPECT_EQ(_snprintf(narrow, sizeof(narrow), "%g", 2.5), 3);
    EXPECT_STREQ(narrow, "2.5");
    EXPECT_EQ(_snprintf(narrow, 3, "%g", 1234.5), -1);
}

/// The wide text of a narrow one, which has to be one.
tstring wideOf(UINT codePage, const std::string& text) {
    const auto length = static_cast<int>(text.size());
    const int size =
        MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.data(), length, nullptr, 0);
    tstring wide(static_cast<std::size_t>(size), _T('#'));
    EXPECT_EQ(
        MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, text.data(), length, &wide[0], size),
        size);
    return wide;
}

TEST(TextTest, WideAndUtf8BecomeEachOther) {
    const struct {
        std::string text;
        tstring wide;
    } kCases[] = {
        {"abc", _T("abc")},
        {std::string("\0x", 2), tstring({0, 'x'})},
        {"\xC3\xA4\xE2\x82\xAC\xEF\xBF\xBD", {0xE4, 0x20AC, 0xFFFD}},
        {"\xF0\x9F\x98\x80", {0xD83D, 0xDE00}},
    };
    for (const auto& one : kCases) {
        SCOPED_TRACE(one.text);
        EXPECT_EQ(wideOf(CP_UTF8, one.text), one.wide);
        const auto length = static_cast<int>(one.wide.size());
        const auto expected = static_cast<int>(one.text.size());
        char buffer[12] = {};
        const auto narrow = [&](int size) {
            return WideCharToMultiByte(CP_UTF8, 0, one.wide.data(), length, buffer, size, nullptr,
                                       nullptr);
        };
        EXPECT_EQ(narrow(0), expected);
        EXPECT_EQ(narrow(expected - 1), 0);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(narrow(12), expected);
        EXPECT_EQ(std::string(buffer, one.text.size()), one.text);
    }
    TCHAR ended[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "abc", -1, ended, 4), 4);
    EXPECT_EQ(tstring(ended), _T("abc"));
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "abc", 3, ended, 2), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "a", 0, ended, 4), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(wideOf(CP_ACP, "a\x80\xE4\xFF"), tstring({'a', 0x20AC, 0xE4, 0xFF}));
    const TCHAR half[] = {0xD83D, 'x'};
    char narrow[8] = {};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, half, 2, narrow, 8, nullptr, nullptr), 4);
    EXPECT_STREQ(narrow, "\xEF\xBF\xBDx");
}

TEST(TextTest, WhatIsNoUtf8IsRefused) {
    for (const std::string text : {"\xFF", "a\x80z", "\xC3", "\xC0\x80", "\xE2\x82z",
                                   "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF0\x9F\x98"}) {
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                      static_cast<int>(text.size()), nullptr, 0),
                  0)
            << testing::PrintToString(text);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
    }
}

}  // namespace
