// Composing, converting, formatting and cutting of texts.
#include "common/share/Text.h"

#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "support/Thrown.h"

namespace {

using namespace tstrings;
using Texts = OnMachine;
using Tokens = std::vector<tstring>;

TEST_F(Texts, AreComposedOfEveryKindOfPiece) {
    const Text text = Text() << u"a" << tstring(u"b") << "\xE6\x97\xA5" << -5 << 7u << true << false
                             << static_cast<const TCHAR*>(nullptr) << Hex{0x2A, 4}
                             << Hex{0xAB, 2, true} << reinterpret_cast<void*>(0x1F);
    EXPECT_EQ(text.str(), u"ab\u65E5-5710NULL002aAB0x1f");
    EXPECT_EQ(text.utf8(), "ab\xE6\x97\xA5-5710NULL002aAB0x1f");
    EXPECT_EQ(toString(-2147483647 - 1) + toString(18446744073709551615ull),
              u"-214748364818446744073709551615");
}

TEST_F(Texts, AreConverted) {
    const std::pair<std::string, tstring> wellFormed[] = {
        {"", u""},
        {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEE\x80\x80\xEF\xBF\xBF",
         u"\x7F\u0080\u07FF\u0800\uE000\uFFFF"},
        {"\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0001F600\U0010FFFF"},
        {std::string("a\0b", 3), tstring(u"a\0b", 3)},
    };
    for (const auto& [utf8, wide] : wellFormed) {
        EXPECT_EQ((Text() << utf8).str(), wide);
        EXPECT_EQ((Text() << wide).utf8(), utf8);
        EXPECT_EQ(fromUtf8(utf8), wide);
        EXPECT_EQ(toUtf8(wide), utf8);
    }
    const std::pair<std::string, tstring> damaged[] = {
        {"x\xFFy\xE6\x97", u"x?y??"},  {"\xC1\xBF\xE0\x9F\xBF", u"?????"}, {"\xED\xA0\x80", u"???"},
        {"\xF0\x8F\xBF\xBF", u"????"}, {"\xF4\x90\x80\x80", u"????"},      {"\xF5", u"?"},
        {"\xC3\x28", u"?("},
    };
    for (const auto& [utf8, wide] : damaged) {
        EXPECT_EQ((Text() << utf8).str(), replace(wide, u"?", u"\uFFFD"));
        EXPECT_EQ(fromUtf8(utf8), u"");
    }
    for (const char16_t* lone : {u"\xD800z", u"\xDBFFz", u"\xDC00z", u"\xDFFFz"}) {
        EXPECT_EQ((Text() << lone).utf8(), "\xEF\xBF\xBDz");
    }
    EXPECT_EQ((Text() << u"\xD800\xE000\xDC00\xDC00\xD800").utf8(),
              "\xEF\xBF\xBD\xEE\x80\x80\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");

    machine.calls.failCall("WideCharToMultiByte", 2);
    EXPECT_EQ(thrownText([] { toUtf8(u"x"); }), "Unexpected reply from WideCharToMultiByte()");
    machine.calls.failCall("MultiByteToWideChar", 2);
    EXPECT_EQ(thrownText([] { fromUtf8("x"); }), "Unexpected reply from MultiByteToWideChar()");
}

TEST_F(Texts, AreFormattedAtAnyLength) {
    for (const std::size_t length : {0u, 255u, 256u, 257u, 5000u}) {
        const tstring piece(length, u'x');
        EXPECT_EQ(unsafe_format(u"%s", piece.c_str()), piece) << length;
    }
    EXPECT_EQ(unsafe_format(u"%s|%u|%03u|%%", u"\u65E5", 4294967295u, 7u),
              u"\u65E5|4294967295|007|%");
    EXPECT_EQ(thrownText([] { unsafe_format(nullptr); }), "Destination buffer can't be NULL");
}

TEST_F(Texts, AreSplit) {
    const auto tokens = [](const TCHAR* text, const TCHAR* delimiter,
                           SplitType type = SplitType::KeepAll) {
        Tokens result = {u"before"};
        split(result, text, delimiter, type);
        return result;
    };
    EXPECT_EQ(tokens(u"aa;;b;cc;", u";"), (Tokens{u"before", u"aa", u"", u"b", u"cc", u""}));
    EXPECT_EQ(tokens(u"aa;;b;cc;", u";", SplitType::NoShort), (Tokens{u"before", u"aa", u"cc"}));
    EXPECT_EQ(tokens(u"a--bb-cc", u"--"), (Tokens{u"before", u"a", u"bb-cc"}));
    EXPECT_EQ(tokens(u"", u";"), Tokens{u"before"});
    EXPECT_EQ(tokens(u"a;b", u""), Tokens{u"before"});
}

TEST_F(Texts, AreComparedAndChanged) {
    constexpr auto kIgnoreCase = CompareType::IgnoreCase;
    EXPECT_EQ(toLower(u"AZ[@\u00C4\u0130"), u"az[@\u00C4\u0130");
    EXPECT_TRUE(equals(u"NORV", u"norv", kIgnoreCase) && !equals(u"NORV", u"norv"));
    EXPECT_FALSE(equals(u"norv", u"norv1", kIgnoreCase) ||
                 equals(u"\u00C4", u"\u00E4", kIgnoreCase));
    EXPECT_TRUE(startsWith(u"NORV_X", u"norv", kIgnoreCase) && startsWith(u"no", u""));
    EXPECT_TRUE(startsWith(u"norv", u"norv") && !startsWith(u"NORV_X", u"norv"));
    EXPECT_FALSE(startsWith(u"no", u"norv", kIgnoreCase));
    EXPECT_EQ(replace(u"aXbX", u"X", u"XX"), u"aXXbXX");
    EXPECT_EQ(replace(u"aaa", u"aa", u"b"), u"ba");
    EXPECT_EQ(replace(u"abc", u"", u"x"), u"abc");
    EXPECT_EQ(trim(u"- a - ", u" -"), u"a");
    EXPECT_EQ(trim(u"- - ", u" -") + trim(u" a ", u""), u" a ");
}

}  // namespace
