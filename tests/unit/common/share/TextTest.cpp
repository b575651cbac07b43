#include "common/share/Text.h"

#include <gtest/gtest.h>

namespace {

TEST(TextTest, ConsistOfEveryKindOfPiece) {
    EXPECT_EQ((Text() << u"a" << tstring(u"b") << u'c').str(), u"abc");
    EXPECT_EQ((Text() << -5 << 7u).str(), u"-57");
    EXPECT_EQ((Text() << true << false).str(), u"10");
    EXPECT_EQ((Text() << static_cast<const TCHAR*>(nullptr)).str(), u"NULL");
    EXPECT_EQ((Text() << Hex{0x2A, 4}).str(), u"002a");
    EXPECT_EQ((Text() << Hex{0xAB, 2, true}).str(), u"AB");
    EXPECT_EQ((Text() << reinterpret_cast<void*>(0x1F)).str(), u"0x1f");
}

struct Encoded {
    std::string utf8;
    tstring utf16;
};

TEST(TextTest, ConvertUtf8BothWays) {
    const Encoded rows[] = {
        {"", u""},
        {"\x7F\xC2\x80\xDF\xBF", u"\x7F\u0080\u07FF"},
        {"\xE0\xA0\x80\xEE\x80\x80\xEF\xBF\xBF", u"\u0800\uE000\uFFFF"},
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
        {.utf8 = {"a\0b", 3}, .utf16 = {u"a\0b", 3}},
    };
    for (const Encoded& row : rows) {
        EXPECT_EQ((Text() << row.utf8).str(), row.utf16);
        EXPECT_EQ((Text() << row.utf16).utf8(), row.utf8);
    }
}

TEST(TextTest, ReplaceInvalidUtf8) {
    const Encoded rows[] = {
        {"x\xFFy\xE6\x97", u"x\uFFFDy\uFFFD\uFFFD"},
        {"\xC1\xBF", u"\uFFFD\uFFFD"},
        {"\xE0\x9F\xBF", u"\uFFFD\uFFFD\uFFFD"},
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xF5", u"\uFFFD"},
        {"\xC3\x28", u"\uFFFD("},
    };
    for (const Encoded& row : rows) {
        EXPECT_EQ((Text() << row.utf8).str(), row.utf16);
    }
}

TEST(TextTest, ReplaceUnpairedSurrogates) {
    for (const char16_t* lone : {u"\xD800z", u"\xDBFFz", u"\xDC00z", u"\xDFFFz"}) {
        EXPECT_EQ((Text() << lone).utf8(), "\xEF\xBF\xBDz");
    }
    EXPECT_EQ((Text() << u"\xD800\xE000").utf8(), "\xEF\xBF\xBD\xEE\x80\x80");
    EXPECT_EQ((Text() << u"\xDC00\xDC00\xD800").utf8(), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

}  // namespace
