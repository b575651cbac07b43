// The format of configurations, read through the table.
#include <gtest/gtest.h>

#include "settings/share/ConfigBuilder.h"
#include "settings/share/PlainTextFileConfigParser.h"
#include "unit/settings/Library.h"

namespace {

using settings_impl::ParserEvent;
using settings_impl::PlainTextFileConfigParser;

TEST(ConfigText, LinesBecomeEntries) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"", ""},
        {" \t\n#a=1\n\t # b=2\n", ""},
        {"A=1", "A=1"},
        {"A=\nB= \t", "A=|B="},
        {"\t KEY \t=\t a value \t", "KEY=a value"},
        {"a b:b=c\nd=e:f=", "a b=b=c|d=e:f="},
        {"a#b=\"x y\" # note", "a#b=\"x y\" # note"},
        {"a=1\rb=2\nc=3\r\nd=4\n\re=5", "a=1|b=2|c=3|d=4|e=5"},
        {"b=1\na=2\nB=3\na b=4\n\xC3\xA9=5\na=6", "B=3|a=6|a b=4|b=1|\xC3\xA9=5"},
        {"\xEF\xBB\xBF_=\xE6\x97\xA5", "\xEF\xBB\xBF_=\xE6\x97\xA5"},
        // Lead bytes alone tell what is text.
        {"a=\x7F\xC3_\nb=\xDF_\xE3__\xEF__", "a=\x7F\xC3_|b=\xDF_\xE3__\xEF__"},
        {"a=\xF0___\nb=\xF8____\nc=\xFC_____", "a=\xF0___|b=\xF8____|c=\xFC_____"},
        {"a=\xF7___\nb=\xFB____\nc=\xFD_____", "a=\xF7___|b=\xFB____|c=\xFD_____"},
    };
    for (const auto& c : cases) {
        Context context;
        EXPECT_EQ(context.load(c.text), settings::kSuccess) << c.text;
        EXPECT_EQ(context.dump(), c.expected) << c.text;
        EXPECT_TRUE(context.errors().empty()) << c.text;
    }
    for (const char* text : {"a=\xC3", "a=\xE3_", "a=\xF7__", "a=\xFB___", "a=\xFD____", "a=\x80",
                             "a=\xBF", "a=\xFE______", "a=\xFF______"}) {
        EXPECT_EQ(Context().load(text), settings::kTextNotUtf8) << text;
    }
}

TEST(ConfigText, BadLinesAreToldOnceAndSkippedOrEndTheLoad) {
    const struct {
        const char* text;
        const char* kept;         // without stopOnError
        std::vector<int> errors;  // the same
        const char* message;      // of the first one
    } cases[] = {
        {"a=1\n=2\nb=3", "a=1|b=3|old=1", {1}, "\"Empty key\" at line 2; char 1"},
        {"  : x", "old=1", {0}, "\"Empty key\" at line 1; char 3"},
        {"\n#\n\t bare \na=1\rother",
         "a=1|old=1",
         {2, 4},
         "\"Key without value\" at line 3; char 3"},
        {"a=1\r\n\r\nunknown=\r\n", "a=1|old=1", {2}, "\"Invalid key\" at line 3; char 1"},
        {"  n=x\nn=1\nn=y", "n=1|old=1", {0, 2}, "\"Invalid value\" at line 1; char 3"},
        // A form of three bytes whose line ends within it.
        {"a=\xE3\n__\nb=1", "b=1|old=1", {0, 1}, "\"Invalid value\" at line 1; char 1"},
    };
    const Validator validator = makeValidator([](auto* builder) {
        api.addStringKey(builder, "a");
        api.addStringKey(builder, "b");
        api.addIntKey(builder, "n");
    });
    for (const auto& c : cases) {
        for (const bool stop : {true, false}) {
            Context context("old=1");
            testing::internal::CaptureStderr();
            EXPECT_EQ(context.load(c.text, {.validator = validator.get(), .stopOnError = stop}),
                      settings::kBadLines);
            const std::string told = testing::internal::GetCapturedStderr();
            const std::vector<int> errors(c.errors.begin(),
                                          stop ? c.errors.begin() + 1 : c.errors.end());
            EXPECT_TRUE(
                told.starts_with(std::string("Error reading config file: ") + c.message + "\n"));
            EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), std::ssize(errors)) << told;
            EXPECT_EQ(context.dump(), stop ? "old=1" : c.kept) << c.text;
            EXPECT_EQ(context.errors(), errors) << c.text;
            EXPECT_EQ(context.load("#"), settings::kSuccess);
            EXPECT_TRUE(context.errors().empty());
        }
    }
}

TEST(ConfigText, KeysWithoutValueEnterUncheckedWhereAllowed) {
    const Validator nothing = makeValidator([](auto*) {});
    const Load options = {.validator = nothing.get(), .bareKeys = true};
    Context context;
    EXPECT_EQ(context.load(" KEY # note \n/q\n", options), settings::kSuccess);
    EXPECT_EQ(context.dump(), "/q|KEY # note");
    EXPECT_EQ(context.load("=", options), settings::kBadLines);
    EXPECT_EQ(context.load("/q:1", options), settings::kBadLines);
}

/// Listens without a throw.
class Listener : public settings_impl::IParserErrorListener {
public:
    void onError(const settings_impl::IParserCursor&, const std::string& message) override {
        messages.push_back(message);
    }
    std::vector<std::string> messages;
};

TEST(ConfigText, WithoutAThrowingListenerErrorsAreCounted) {
    for (const bool stop : {true, false}) {
        PlainTextFileConfigParser parser(
            std::make_unique<settings_impl::StringBuffer>("a=1\n=1\na=1\n=2"));
        Listener listener;
        parser.setErrorListener(&listener);
        parser.setStopOnError(stop);
        EXPECT_EQ(parser.parse() == nullptr, stop);
        EXPECT_EQ(listener.messages.size(), stop ? 1u : 2u);
    }
    PlainTextFileConfigParser deaf(std::make_unique<settings_impl::StringBuffer>("=1"));
    EXPECT_NE(deaf.parse(), nullptr);
    EXPECT_TRUE(PlainTextFileConfigParser(nullptr).parse()->keys().empty());
    Listener listener;
    settings_impl::ConfigBuilder builder(
        [](const settings_impl::IParserCursor&) { return std::string("here"); }, nullptr, nullptr,
        &listener);
    builder.onError({}, ParserEvent::InvalidComment);
    builder.onError({}, static_cast<ParserEvent>(999));
    EXPECT_EQ(listener.messages, (std::vector<std::string>{"\"Invalid comment\" at here",
                                                           "\"Unknown error\" at here"}));
}

}  // namespace
