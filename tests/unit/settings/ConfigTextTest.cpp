// The format of configurations, read through the table.
#include <gtest/gtest.h>

#include "settings/share/ConfigBuilder.h"
#include "settings/share/ParserErrorCounter.h"
#include "settings/share/PlainTextFileConfigParser.h"
#include "unit/settings/Library.h"

namespace {

TEST(ConfigText, LinesBecomeEntries) {
    const struct {
        const char* what;
        const char* text;
        const char* expected;
    } cases[] = {
        {"nothing", "", ""},
        {"blanks and comments", " \t\n#a=1\n\t # b=2\n", ""},
        {"no line end", "A=1", "A=1"},
        {"an empty value", "A=\nB= \t", "A=|B="},
        {"blanks around", "\t KEY \t=\t value \t", "KEY=value"},
        {"a colon", "KEY:value", "KEY=value"},
        {"the first separator", "a:b=c\nd=e:f=", "a=b=c|d=e:f="},
        {"no comment behind a value", "KEY=value # note", "KEY=value # note"},
        {"a hash in a key", "a#b=1", "a#b=1"},
        {"a blank in a key", "a b=1", "a b=1"},
        {"quotes", "A=\"x y\" ", "A=\"x y\""},
        {"all line ends", "a=1\rb=2\nc=3\r\nd=4\n\re=5", "a=1|b=2|c=3|d=4|e=5"},
        {"the last one wins", "a=1\na=2", "a=2"},
        {"bytes in order", "b=1\na=2\nB=3\na b=4\n\xC3\xA9=5", "B=3|a=2|a b=4|b=1|\xC3\xA9=5"},
        {"Japanese", "a=\xE6\x97\xA5\xE6\x9C\xAC", "a=\xE6\x97\xA5\xE6\x9C\xAC"},
        {"a mark is text in a string",
         "\xEF\xBB\xBF"
         "a=1",
         "\xEF\xBB\xBF"
         "a=1"},
        {"forms of 5 and 6 bytes", "a=\xF8____\nb=\xFC_____", "a=\xF8____|b=\xFC_____"},
    };
    for (const auto& c : cases) {
        Context context;
        EXPECT_EQ(context.load(c.text), settings::kSuccess) << c.what;
        EXPECT_EQ(context.dump(), c.expected) << c.what;
        EXPECT_TRUE(context.errors().empty()) << c.what;
    }
}

TEST(ConfigText, BadLinesAreToldOnceAndSkippedOrEndTheLoad) {
    const struct {
        const char* text;
        const char* kept;         // without stopOnError
        std::vector<int> errors;  // the same
        const char* message;      // of the first one
    } cases[] = {
        {"a=1\n=2\nb=3", "a=1|b=3", {1}, "\"Empty key\" at line 2; char 1"},
        {"  : x", "", {0}, "\"Empty key\" at line 1; char 3"},
        {"\n#\n\t bare \na=1\rother", "a=1", {2, 4}, "\"Key without value\" at line 3; char 3"},
        {"a=1\r\n\r\nunknown=\r\n", "a=1", {2}, "\"Invalid key\" at line 3; char 1"},
        {"  n=x\nn=1\nn=y", "n=1", {0, 2}, "\"Invalid value\" at line 1; char 3"},
        // A form of three bytes whose line ends within it.
        {"a=\xE3\n__\nb=1", "b=1", {0, 1}, "\"Invalid value\" at line 1; char 1"},
    };
    const Validator validator = makeValidator([](const settings_api& api, auto* builder) {
        api.addStringKey(builder, "a");
        api.addStringKey(builder, "b");
        api.addIntKey(builder, "n");
    });
    for (const auto& c : cases) {
        Context context("old=1");
        testing::internal::CaptureStderr();
        EXPECT_EQ(context.load(c.text, {.validator = validator.get()}), settings::kBadLines);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  std::string("Error reading config file: ") + c.message + "\n");
        EXPECT_EQ(context.dump(), "old=1") << c.text;
        EXPECT_EQ(context.errors(), std::vector<int>{c.errors.front()}) << c.text;

        testing::internal::CaptureStderr();
        EXPECT_EQ(context.load(c.text, {.validator = validator.get(), .stopOnError = false}),
                  settings::kBadLines);
        const std::string told = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), std::ssize(c.errors)) << told;
        EXPECT_EQ(context.dump(), std::string(c.kept) + (*c.kept ? "|" : "") + "old=1") << c.text;
        EXPECT_EQ(context.errors(), c.errors) << c.text;

        EXPECT_EQ(context.load("#"), settings::kSuccess);
        EXPECT_TRUE(context.errors().empty());
    }
}

TEST(ConfigText, KeysWithoutValueEnterUncheckedWhereAllowed) {
    const Validator nothing = makeValidator([](const settings_api&, auto*) {});
    Context context;
    EXPECT_EQ(context.load(" KEY # note \n/q\n", {.validator = nothing.get(), .bareKeys = true}),
              settings::kSuccess);
    EXPECT_EQ(context.dump(), "/q|KEY # note");
    EXPECT_EQ(context.load("=", {.bareKeys = true}), settings::kBadLines);
    EXPECT_EQ(context.load("/q:1", {.validator = nothing.get(), .bareKeys = true}),
              settings::kBadLines);
}

TEST(ConfigText, OnlyLeadBytesTellWhatIsText) {
    const struct {
        const char* text;
        bool valid;
    } cases[] = {{"a=\x7F", true},        {"a=\xC3", false},      {"a=\xC3_", true},
                 {"a=\xE3__", true},      {"a=\xE3_", false},     {"a=\xF0___", true},
                 {"a=\xF7__", false},     {"a=\xFB____", true},   {"a=\xFD_____", true},
                 {"a=\xFD____", false},   {"a=\x80", false},      {"a=\xBF", false},
                 {"a=\xFE______", false}, {"a=\xFF______", false}};
    for (const auto& c : cases) {
        Context context;
        EXPECT_EQ(context.load(c.text), c.valid ? settings::kSuccess : settings::kTextNotUtf8)
            << c.text;
    }
}

TEST(ConfigText, WhatIsWrittenReadsBackWithoutOuterBlanks) {
    Context context("b= x \na\nc=\n=");
    EXPECT_EQ(context.dump(), "");  // the last line is bad
    Context good("b= x \na\nc=");
    Context again("a\nb=x\nc=\n");
    std::int32_t same = 0;
    EXPECT_EQ(good.api.equals(good.handle.get(), again.handle.get(), &same), settings::kSuccess);
    EXPECT_EQ(same, 1);
}

// A callback that refuses everything shows what the parser reports by itself.
class Refusing : public settings_impl::IParserErrorListener {
public:
    void onError(const settings_impl::IParserCursor&, const std::string& message) override {
        messages.push_back(message);
    }
    std::vector<std::string> messages;
};

TEST(ConfigText, WithoutAThrowingListenerErrorsAreCounted) {
    using settings_impl::PlainTextFileConfigParser;
    for (const bool stop : {true, false}) {
        PlainTextFileConfigParser parser(
            std::make_unique<settings_impl::StringBuffer>("=1\na=1\n=2"));
        Refusing listener;
        parser.setErrorListener(&listener);
        parser.setStopOnError(stop);
        const auto config = parser.parse();
        EXPECT_EQ(config == nullptr, stop);
        EXPECT_EQ(listener.messages.size(), stop ? 1u : 2u);
    }
    PlainTextFileConfigParser empty(nullptr);
    EXPECT_TRUE(empty.parse()->keys().empty());
}

TEST(ConfigText, EveryEventHasItsWord) {
    using settings_impl::ParserEvent;
    const settings_impl::IParserCursor cursor;
    Refusing listener;
    settings_impl::ConfigBuilder builder(
        [](const settings_impl::IParserCursor&) { return std::string("here"); }, nullptr, nullptr,
        &listener);
    for (const auto event : {ParserEvent::InvalidComment, static_cast<ParserEvent>(999)}) {
        builder.onError(cursor, event);
    }
    EXPECT_EQ(listener.messages, (std::vector<std::string>{"\"Invalid comment\" at here",
                                                           "\"Unknown error\" at here"}));
}

}  // namespace
