#include "common/share/tstrings.h"

#include <stdexcept>

#include "support/OnMachine.h"

namespace {

using tstrings::CompareType;
using tstrings::SplitType;
using Tstrings = OnMachine;
using Tokens = std::vector<tstring>;

TEST_F(Tstrings, AreSplit) {
    const struct {
        const TCHAR* text;
        const TCHAR* delimiter;
        Tokens all;
        Tokens longOnes;
    } rows[] = {
        {_T(""), _T(";"), {}, {}},
        {_T("a;b"), _T(""), {}, {}},
        {_T("."), _T("."), {_T(""), _T("")}, {}},
        {_T("a;;b;"), _T(";"), {_T("a"), _T(""), _T("b"), _T("")}, {}},
        {_T("aa;;b;cc;"),
         _T(";"),
         {_T("aa"), _T(""), _T("b"), _T("cc"), _T("")},
         {_T("aa"), _T("cc")}},
        {_T("aa--bb-cc"), _T("--"), {_T("aa"), _T("bb-cc")}, {_T("aa"), _T("bb-cc")}},
        {_T("aaaa"), _T("aa"), {_T(""), _T(""), _T("")}, {}},
        {_T("ab"), _T("x"), {_T("ab")}, {_T("ab")}},
    };
    for (const auto& row : rows) {
        Tokens all = {_T("kept")};
        tstrings::split(all, row.text, row.delimiter, SplitType::KeepAll);
        Tokens longOnes;
        tstrings::split(longOnes, row.text, row.delimiter, SplitType::NoShort);
        EXPECT_EQ(all.front(), _T("kept"));
        all.erase(all.begin());
        EXPECT_EQ(all, row.all);
        EXPECT_EQ(longOnes, row.longOnes);
    }
}

TEST_F(Tstrings, AreComparedAndChanged) {
    EXPECT_EQ(tstrings::toLower(_T("AZ[@\u00C4\u0130")), _T("az[@\u00C4\u0130"));
    EXPECT_TRUE(tstrings::equals(_T("NORV"), _T("norv"), CompareType::IgnoreCase));
    EXPECT_FALSE(tstrings::equals(_T("NORV"), _T("norv"), CompareType::Exact));
    EXPECT_FALSE(tstrings::equals(_T("norv"), _T("norv1"), CompareType::IgnoreCase));
    EXPECT_FALSE(tstrings::equals(_T("\u00C4"), _T("\u00E4"), CompareType::IgnoreCase));
    EXPECT_TRUE(tstrings::startsWith(_T("NORV_X"), _T("norv"), CompareType::IgnoreCase));
    EXPECT_FALSE(tstrings::startsWith(_T("NORV_X"), _T("norv"), CompareType::Exact));
    EXPECT_FALSE(tstrings::startsWith(_T("no"), _T("norv"), CompareType::IgnoreCase));
    EXPECT_TRUE(tstrings::startsWith(_T("no"), _T(""), CompareType::Exact));

    EXPECT_EQ(tstrings::replace(_T("aXbX"), _T("X"), _T("XX")), _T("aXXbXX"));
    EXPECT_EQ(tstrings::replace(_T("aaa"), _T("aa"), _T("b")), _T("ba"));
    EXPECT_EQ(tstrings::replace(_T("abc"), _T(""), _T("x")), _T("abc"));
    EXPECT_EQ(tstrings::trim(_T("- a - "), _T(" -")), _T("a"));
    EXPECT_EQ(tstrings::trim(_T("- - "), _T(" -")), _T(""));
    EXPECT_EQ(tstrings::trim(_T(" a "), _T("")), _T(" a "));
    EXPECT_EQ(tstrings::toString(-2147483647 - 1) + tstrings::toString(18446744073709551615ull),
              _T("-214748364818446744073709551615"));
}

TEST_F(Tstrings, FormatGrowsUntilTheTextFits) {
    for (const std::size_t length : {0u, 1u, 255u, 256u, 257u, 511u, 512u, 513u, 5000u}) {
        const tstring piece(length, _T('x'));
        EXPECT_EQ(tstrings::unsafe_format(_T("%s"), piece.c_str()), piece) << length;
    }
    EXPECT_EQ(tstrings::unsafe_format(_T("%s|%u|%03u|0x%08X|%%"), _T("\u65E5"), 4294967295u, 7u,
                                      0x80070005u),
              _T("\u65E5|4294967295|007|0x80070005|%"));
    EXPECT_EQ(thrownBy<std::invalid_argument>([] { tstrings::unsafe_format(nullptr); }),
              "tstrings.cpp at tstrings::unsafe_format(): Destination buffer can't be NULL");
}

TEST_F(Tstrings, AreConverted) {
    const struct {
        tstring wide;
        std::string utf8;
    } rows[] = {
        {_T(""), ""},
        {_T("a\u00E4\u65E5"), "a\xC3\xA4\xE6\x97\xA5"},
        {{0xD83D, 0xDE00}, "\xF0\x9F\x98\x80"},
        {tstring(_T("a\0b"), 3), std::string("a\0b", 3)},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(tstrings::toUtf8(row.wide), row.utf8);
        EXPECT_EQ(tstrings::fromUtf8(row.utf8), row.wide);
    }
    EXPECT_EQ(tstrings::fromUtf8("\xFF"), _T(""));
    EXPECT_EQ(tstrings::fromUtf8("good\xE6\x97"), _T(""));

    machine.calls.failCall("WideCharToMultiByte", 2);
    EXPECT_EQ(thrownBy<std::runtime_error>([] { tstrings::toUtf8(_T("x")); }),
              "tstrings.cpp at tstrings::`anonymous-namespace'::toMultiByte(): "
              "Unexpected reply from WideCharToMultiByte()");
    machine.calls.failCall("MultiByteToWideChar", 2);
    EXPECT_EQ(thrownBy<std::runtime_error>([] { tstrings::fromUtf8("x"); }),
              "tstrings.cpp at tstrings::`anonymous-namespace'::fromMultiByte(): "
              "Unexpected reply from MultiByteToWideChar()");
}

}  // namespace
