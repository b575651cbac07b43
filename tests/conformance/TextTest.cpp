#include <windows.h>
#include <tchar.h>
#include <wchar.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

namespace {

using tstring = std::basic_string<TCHAR>;

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

/// The text that a format gives, which has to fit.
template <class... Arguments>
tstring format(const TCHAR* text, Arguments... arguments) {
    const Formatted formatted = formatInto(40, text, arguments...);
    EXPECT_GE(formatted.result, 0);
    return formatted.buffer.substr(0, static_cast<std::size_t>(formatted.result));
}

TEST(TextTest, ConversionsFollowWindowsWideRules) {
    EXPECT_EQ(format(_T("%s|%S|%hs|%ls|%ws"), _T("a"), "b", "c", _T("d"), _T("e")),
              _T("a|b|c|d|e"));
    EXPECT_EQ(format(_T("%5s|%-5s|%.2s|%5.1s|"), _T("ab"), _T("ab"), _T("abc"), _T("ab")),
              _T("   ab|ab   |ab|    a|"));
    EXPECT_EQ(format(_T("%*s|%-*s|%.*s"), 3, _T("a"), 3, _T("b"), 1, _T("cd")), _T("  a|b  |c"));
    EXPECT_EQ(format(_T("%s"), static_cast<const TCHAR*>(nullptr)), _T("(null)"));
    EXPECT_EQ(format(_T("%c|%3c|%-3c|%C"), _T('a'), _T('b'), _T('c'), 'd'), _T("a|  b|c  |d"));
    EXPECT_EQ(format(_T("%c"), 0x20AC), tstring(1, TCHAR(0x20AC)));
    EXPECT_EQ(format(_T("%d|%i|%u"), -1, 2, 0xFFFFFFFFu), _T("-1|2|4294967295"));
    EXPECT_EQ(format(_T("%5d|%-5d|%05d|%+d|% d"), -42, 42, -42, 42, 42),
              _T("  -42|42   |-0042|+42| 42"));
    EXPECT_EQ(format(_T("%.3d|%5.3d|%.0d"), 7, 7, 0), _T("007|  007|"));
    EXPECT_EQ(format(_T("%x|%X|%#x|%08X|%#X|%o"), 0xABu, 0xABu, 0xABu, 0xABCDu, 0xABu, 8u),
              _T("ab|AB|0xab|0000ABCD|0XAB|10"));
    EXPECT_EQ(format(_T("%lu|%ld|%hd|%hu"), DWORD{7}, LONG{-7}, 0x18001, 0x1FFFF),
              _T("7|-7|-32767|65535"));
    EXPECT_EQ(format(_T("%I64d|%I64x"), -5000000000ll, 0x123456789ull),
              _T("-5000000000|123456789"));
    EXPECT_EQ(format(_T("%lld|%llu"), -5000000000ll, 5000000000ull), _T("-5000000000|5000000000"));
    EXPECT_EQ(format(_T("100%%|%s"), _T("x")), _T("100%|x"));
    EXPECT_EQ(format(_T("%p"), reinterpret_cast<void*>(0xAB12)).size(), sizeof(void*) * 2);
    EXPECT_EQ(format(_T("%p"), reinterpret_cast<void*>(0xAB12)).substr(sizeof(void*) * 2 - 5),
              _T("0AB12"));
}

TEST(TextTest, ATextThatIsTooLongIsCut) {
    const struct {
        std::size_t size;
        int result;
        const TCHAR* buffer;
    } kCases[] = {
        {0, -1, _T("#######")},
        {2, -1, _T("12#####")},
        {3, -1, _T("123####")},
        {4, 4, _T("1234###")},
    };
    for (const auto& one : kCases) {
        const Formatted formatted = formatInto(one.size, _T("%d"), 1234);
        EXPECT_EQ(formatted.result, one.result) << one.size;
        EXPECT_EQ(formatted.buffer.substr(0, 7), one.buffer) << one.size;
    }
    const Formatted ended = formatInto(5, _T("%d"), 1234);
    EXPECT_EQ(ended.result, 4);
    EXPECT_EQ(ended.buffer.substr(0, 6), tstring({'1', '2', '3', '4', '\0', '#'}));
}

TEST(TextTest, Utf8BecomesWide) {
    const struct {
        const char* text;
        int length;
        tstring wide;
    } kCases[] = {
        {"abc", 3, _T("abc")},
        {"abc", 2, _T("ab")},
        {"abc", -1, tstring(_T("abc"), 4)},
        {"\0x", 2, tstring({0, 'x'})},
        {"\xC3\xA4\xE2\x82\xAC", 5, tstring({0xE4, 0x20AC})},
        {"\xF0\x9F\x98\x80", 4, tstring({0xD83D, 0xDE00})},
    };
    for (const auto& one : kCases) {
        SCOPED_TRACE(one.text);
        const auto expected = static_cast<int>(one.wide.size());
        EXPECT_EQ(
            MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, one.text, one.length, nullptr, 0),
            expected);
        TCHAR buffer[8] = {};
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, one.text, one.length, buffer, 8), expected);
        EXPECT_EQ(tstring(buffer, one.wide.size()), one.wide);
        EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, one.text, one.length, buffer, expected),
                  expected);
        const bool isPair = one.wide[0] >= 0xD800;  // of which Wine writes the first half
        if (expected > 1 && !isPair) {
            EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, one.text, one.length, buffer, expected - 1),
                      0);
            EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
        }
    }
}

TEST(TextTest, WhatIsNoUtf8IsRefusedOrReplaced) {
    const struct {
        std::string text;
        tstring wide;
    } kCases[] = {
        {"\xFF", {0xFFFD}},
        {"a\x80z", {'a', 0xFFFD, 'z'}},
        {"\xC3", {0xFFFD}},
        {"\xC0\x80", {0xFFFD, 0xFFFD}},
        {"\xE2\x82z", {0xFFFD, 'z'}},
        {"\xED\xA0\x80", {0xFFFD, 0xFFFD}},
        {"\xF4\x90\x80\x80", {0xFFFD, 0xFFFD, 0xFFFD}},
        {"\xF0\x9F\x98", {0xFFFD}},
    };
    for (const auto& one : kCases) {
        SCOPED_TRACE(testing::PrintToString(one.text));
        const auto length = static_cast<int>(one.text.size());
        EXPECT_EQ(
            MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, one.text.data(), length, nullptr, 0),
            0);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_UNICODE_TRANSLATION});
        TCHAR buffer[8] = {};
        const int found = MultiByteToWideChar(CP_UTF8, 0, one.text.data(), length, buffer, 8);
        EXPECT_EQ(tstring(buffer, static_cast<std::size_t>(found)), one.wide);
    }
}

TEST(TextTest, WideBecomesUtf8) {
    const struct {
        tstring wide;
        std::string text;
    } kCases[] = {
        {_T("abc"), "abc"},
        {{0xE4, 0x20AC}, "\xC3\xA4\xE2\x82\xAC"},
        {{0xD83D, 0xDE00}, "\xF0\x9F\x98\x80"},
        {{0xD83D}, "\xEF\xBF\xBD"},
        {{0xD83D, 'x'}, "\xEF\xBF\xBDx"},
        {{0xDE00, 0xD83D}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const auto& one : kCases) {
        SCOPED_TRACE(one.text);
        const auto length = static_cast<int>(one.wide.size());
        const auto expected = static_cast<int>(one.text.size());
        EXPECT_EQ(
            WideCharToMultiByte(CP_UTF8, 0, one.wide.data(), length, nullptr, 0, nullptr, nullptr),
            expected);
        char buffer[12] = {};
        EXPECT_EQ(
            WideCharToMultiByte(CP_UTF8, 0, one.wide.c_str(), -1, buffer, 12, nullptr, nullptr),
            expected + 1);
        EXPECT_EQ(std::string(buffer), one.text);
        EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, one.wide.data(), length, buffer, expected - 1,
                                      nullptr, nullptr),
                  0);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    }
}

TEST(TextTest, TheSystemsCodePageIsWestern) {
    const char text[] = "a\x80\xE4\xFF";
    TCHAR wide[8] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, 4, wide, 8), 4);
    EXPECT_EQ(tstring(wide), tstring({'a', 0x20AC, 0xE4, 0xFF}));
    char narrow[8] = {};
    BOOL replaced = TRUE;
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, wide, 4, narrow, 8, nullptr, &replaced), 4);
    EXPECT_EQ(std::string(narrow), text);
    EXPECT_FALSE(replaced);
    const TCHAR strange[] = {0x4E2D};
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, strange, 1, narrow, 8, nullptr, &replaced), 1);
    EXPECT_EQ(narrow[0], '?');
    EXPECT_TRUE(replaced);
}

TEST(TextTest, ConversionsRefuseWhatMakesNoSense) {
    TCHAR wide[8];
    char narrow[8];
    const struct {
        int result;
        DWORD status;
        DWORD expected;
    } kCases[] = {
        {MultiByteToWideChar(CP_UTF8, 0, "a", 0, wide, 8), GetLastError(), ERROR_INVALID_PARAMETER},
        {MultiByteToWideChar(CP_UTF8, 0, nullptr, 1, wide, 8), GetLastError(),
         ERROR_INVALID_PARAMETER},
        {MultiByteToWideChar(CP_UTF8, 0, "a", 1, wide, -1), GetLastError(),
         ERROR_INVALID_PARAMETER},
        {MultiByteToWideChar(54321, 0, "a", 1, wide, 8), GetLastError(), ERROR_INVALID_PARAMETER},
        {MultiByteToWideChar(CP_UTF8, 0x40, "a", 1, wide, 8), GetLastError(), ERROR_INVALID_FLAGS},
        {WideCharToMultiByte(CP_UTF8, 0, _T("a"), 0, narrow, 8, nullptr, nullptr), GetLastError(),
         ERROR_INVALID_PARAMETER},
    };
    for (const auto& one : kCases) {
        const auto index = &one - kCases;
        EXPECT_EQ(one.result, 0) << index;
        EXPECT_EQ(one.status, one.expected) << index;
    }
}

}  // namespace
