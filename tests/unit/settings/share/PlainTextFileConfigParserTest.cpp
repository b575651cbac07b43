// The format of configurations: lines, comments, white space, and bad lines.
#include "settings/share/PlainTextFileConfigParser.h"

#include <gtest/gtest.h>

#include "support/Settings.h"

namespace {

TEST(PlainTextFileConfigParser, CommentsAndBlankLinesAreNoEntries) {
    EXPECT_EQ(Context(" \t\n#a=1\n\t # b=2\nA=1").dump(), "A=1");
}

TEST(PlainTextFileConfigParser, BlanksAroundKeysAndValuesAreDropped) {
    EXPECT_EQ(Context("\t KEY \t=\t a value \t").dump(), "KEY=a value");
    EXPECT_EQ(Context("A=\nB= \t").dump(), "A=|B=");
}

TEST(PlainTextFileConfigParser, TheFirstSeparatorEndsTheKey) {
    EXPECT_EQ(Context("a b:b=c\nd=e:f=").dump(), "a b=b=c|d=e:f=");
}

TEST(PlainTextFileConfigParser, NothingIsQuotedAndNoCommentFollowsAValue) {
    EXPECT_EQ(Context("a#b=\"x y\" # note\n KEY # note \n/q\n").dump(),
              "/q|KEY # note|a#b=\"x y\" # note");
}

TEST(PlainTextFileConfigParser, EveryKindOfLineEndSeparatesLines) {
    EXPECT_EQ(Context("a=1\rb=2\nc=3\r\nd=4\n\re=5\n").dump(), "a=1|b=2|c=3|d=4|e=5");
}

TEST(PlainTextFileConfigParser, KeysAreSortedByTheirBytesAndTheLastOneWins) {
    EXPECT_EQ(Context("b=1\na=2\nB=3\n\xC3\xA9=5\na=6").dump(), "B=3|a=6|b=1|\xC3\xA9=5");
}

TEST(PlainTextFileConfigParser, AStringKeepsItsByteOrderMark) {
    EXPECT_EQ(Context("\xEF\xBB\xBF_=\xE6\x97\xA5").dump(), "\xEF\xBB\xBF_=\xE6\x97\xA5");
}

/// A lead byte and the length of the sequence that it starts.
struct LeadByte {
    char byte;
    std::size_t length;
};

TEST(PlainTextFileConfigParser, ALeadByteNeedsAsManyBytesAsItAnnounces) {
    const LeadByte rows[] = {{'\x7F', 1}, {'\xC3', 2}, {'\xDF', 2}, {'\xE3', 3},
                             {'\xEF', 3}, {'\xF0', 4}, {'\xF7', 4}, {'\xF8', 5},
                             {'\xFB', 5}, {'\xFC', 6}, {'\xFD', 6}};
    for (const LeadByte& lead : rows) {
        const std::string whole = "a=" + (lead.byte + std::string(lead.length - 1, '_'));
        EXPECT_EQ(Context().load(whole), settings::kSuccess) << whole;
        if (lead.length > 1) {
            const std::string cut = whole.substr(0, whole.size() - 1);
            EXPECT_EQ(Context().load(cut), settings::kTextNotUtf8) << cut;
        }
    }
}

TEST(PlainTextFileConfigParser, BytesThatStartNoSequenceAreNotUtf8) {
    for (const char* byte : {"\x80", "\xBF", "\xFE", "\xFF"}) {
        EXPECT_EQ(Context().load(std::string("a=") + byte + "_______"), settings::kTextNotUtf8);
    }
}

class PlainTextFileConfigParserBadLines : public testing::Test {
protected:
    /// Loads a text with a bad line of each kind over "old=1" and captures the messages.
    settings::Status load(bool stopOnError) {
        testing::internal::CaptureStderr();
        const settings::Status status = context.load(
            "\ta=1\n  : x\r\n#\n\t bare \nunknown=\r\n  n=x\nn=1\nn=y\n"
            "a=\xE3\n__",  // a sequence of three bytes whose line ends within it
            {.validator = validator.get(), .stopOnError = stopOnError});
        messages = testing::internal::GetCapturedStderr();
        return status;
    }

    const Validator validator = makeValidator([](auto* builder) {
        api.addStringKey(builder, "a");
        api.addIntKey(builder, "n");
    });
    Context context{"old=1"};
    std::string messages;
};

TEST_F(PlainTextFileConfigParserBadLines, AreReportedAndSkipped) {
    EXPECT_EQ(load(false), settings::kBadLines);
    EXPECT_EQ(context.dump(), "a=1|n=1|old=1");
    EXPECT_EQ(context.errors(), (std::vector<int>{1, 3, 4, 5, 7, 8, 9}));
    EXPECT_EQ(messages,
              "Error reading config file: \"Empty key\" at line 2; char 3\n"
              "Error reading config file: \"Key without value\" at line 4; char 3\n"
              "Error reading config file: \"Invalid key\" at line 5; char 1\n"
              "Error reading config file: \"Invalid value\" at line 6; char 3\n"
              "Error reading config file: \"Invalid value\" at line 8; char 1\n"
              "Error reading config file: \"Invalid value\" at line 9; char 1\n"
              "Error reading config file: \"Key without value\" at line 10; char 1\n");
}

TEST_F(PlainTextFileConfigParserBadLines, EndTheLoadAtTheFirstOneOnRequest) {
    EXPECT_EQ(load(true), settings::kBadLines);
    EXPECT_EQ(context.dump(), "old=1");
    EXPECT_EQ(context.errors(), std::vector<int>{1});
    EXPECT_EQ(messages, "Error reading config file: \"Empty key\" at line 2; char 3\n");
}

TEST_F(PlainTextFileConfigParserBadLines, AreForgottenByTheNextLoad) {
    load(false);
    EXPECT_EQ(context.load("#"), settings::kSuccess);
    EXPECT_EQ(context.errors(), std::vector<int>());
}

}  // namespace
