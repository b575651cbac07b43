#include "common/share/tstrings.h"

#include <cstdint>
#include <limits>

#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using namespace tstrings;

using tstringsTest = OnMachine;
using Tokens = std::vector<tstring>;
constexpr auto kIgnoreCase = CompareType::IgnoreCase;

TEST_F(tstringsTest, NumbersAreDecimal) {
    EXPECT_EQ(toString(std::numeric_limits<std::int32_t>::min()), u"-2147483648");
    EXPECT_EQ(toString(std::numeric_limits<std::int64_t>::min()), u"-9223372036854775808");
}

TEST_F(tstringsTest, ConvertUtf8) {
    EXPECT_EQ(fromUtf8("\xE6\x97\xA5"), u"\u65E5");
    EXPECT_EQ(toUtf8(u"\u65E5"), "\xE6\x97\xA5");
    EXPECT_EQ(fromUtf8("x\xFFy"), u"") << "invalid UTF-8";
}

TEST_F(tstringsTest, AContradictionOfWindowsIsThrown) {
    machine.calls.failCall("WideCharToMultiByte", 2);
    EXPECT_EQ(thrownText([] { toUtf8(u"x"); }), "Unexpected reply from WideCharToMultiByte()");
    machine.calls.failCall("MultiByteToWideChar", 2);
    EXPECT_EQ(thrownText([] { fromUtf8("x"); }), "Unexpected reply from MultiByteToWideChar()");
}

TEST_F(tstringsTest, FormattedTextHasAnyLength) {
    for (const std::size_t length : {0u, 255u, 256u, 257u, 5000u}) {
        const tstring piece(length, u'x');
        EXPECT_EQ(unsafe_format(u"%s", piece.c_str()), piece) << length;
    }
}

TEST_F(tstringsTest, AreFormattedByWindowsWideRules) {
    EXPECT_EQ(unsafe_format(u"%s|%u|%03u|%%", u"\u65E5", 4294967295u, 7u),
              u"\u65E5|4294967295|007|%");
    EXPECT_EQ(thrownText([] { unsafe_format(nullptr); }), "Destination buffer can't be NULL");
}

Tokens tokens(const TCHAR* text, const TCHAR* delimiter, SplitType type = SplitType::KeepAll) {
    Tokens result = {u"before"};
    split(result, text, delimiter, type);
    return result;
}

TEST_F(tstringsTest, TokensAreAppended) {
    EXPECT_EQ(tokens(u"aa;;b;cc;", u";"), (Tokens{u"before", u"aa", u"", u"b", u"cc", u""}));
    EXPECT_EQ(tokens(u"a--bb-cc", u"--"), (Tokens{u"before", u"a", u"bb-cc"}));
}

TEST_F(tstringsTest, ShortTokensMayBeDropped) {
    EXPECT_EQ(tokens(u"aa;;b;cc;", u";", SplitType::NoShort), (Tokens{u"before", u"aa", u"cc"}));
}

TEST_F(tstringsTest, AnEmptyStringOrDelimiterHasNoTokens) {
    EXPECT_EQ(tokens(u"", u";"), Tokens{u"before"});
    EXPECT_EQ(tokens(u"a;b", u""), Tokens{u"before"});
}

TEST_F(tstringsTest, OnlyAsciiLettersHaveCase) {
    EXPECT_EQ(toLower(u"AZ[@\u00C4\u0130"), u"az[@\u00C4\u0130");
    EXPECT_TRUE(equals(u"NORV", u"norv", kIgnoreCase));
    EXPECT_FALSE(equals(u"\u00C4", u"\u00E4", kIgnoreCase));
}

TEST_F(tstringsTest, EqualStringsHaveTheSameLengthAndCase) {
    EXPECT_FALSE(equals(u"NORV", u"norv"));
    EXPECT_FALSE(equals(u"norv", u"norv1", kIgnoreCase));
}

TEST_F(tstringsTest, PrefixesAreCompared) {
    EXPECT_TRUE(startsWith(u"norv", u"norv"));
    EXPECT_TRUE(startsWith(u"no", u""));
    EXPECT_TRUE(startsWith(u"NORV_X", u"norv", kIgnoreCase));
    EXPECT_FALSE(startsWith(u"NORV_X", u"norv"));
    EXPECT_FALSE(startsWith(u"no", u"norv", kIgnoreCase));
}

TEST_F(tstringsTest, ReplacementsAreNotSearchedAgain) {
    EXPECT_EQ(replace(u"aXbX", u"X", u"XX"), u"aXXbXX");
    EXPECT_EQ(replace(u"aaa", u"aa", u"b"), u"ba");
    EXPECT_EQ(replace(u"abc", u"", u"x"), u"abc");
}

TEST_F(tstringsTest, AreTrimmedAtBothEnds) {
    EXPECT_EQ(trim(u"- a - ", u" -"), u"a");
    EXPECT_EQ(trim(u"- - ", u" -"), u"");
    EXPECT_EQ(trim(u" a ", u""), u" a ");
}

}  // namespace
