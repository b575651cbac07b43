// The format of configurations and the rules of their keys.
#include <gtest/gtest.h>

#include "support/Settings.h"

namespace {

TEST(ConfigText, LinesBecomeEntries) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {" \t\n#a=1\n\t # b=2\n", ""},
        {"A=\nB= \t", "A=|B="},
        {"\t KEY \t=\t a value \t", "KEY=a value"},
        {"a b:b=c\nd=e:f=", "a b=b=c|d=e:f="},
        {"a#b=\"x y\" # note", "a#b=\"x y\" # note"},
        {"a=1\rb=2\nc=3\r\nd=4\n\re=5", "a=1|b=2|c=3|d=4|e=5"},
        {"b=1\na=2\nB=3\na b=4\n\xC3\xA9=5\na=6", "B=3|a=6|a b=4|b=1|\xC3\xA9=5"},
        {"\xEF\xBB\xBF_=\xE6\x97\xA5", "\xEF\xBB\xBF_=\xE6\x97\xA5"},
        {" KEY # note \n/q\n", "/q|KEY # note"},
    };
    for (const auto& [text, expected] : cases) {
        Context context;
        EXPECT_EQ(context.load(text, {.bareKeys = true}), settings::kSuccess) << text;
        EXPECT_EQ(context.dump(), expected);
    }
}

TEST(ConfigText, LeadBytesAloneTellWhatIsText) {
    const std::pair<const char*, std::size_t> cases[] = {
        {"\x7F", 1},     {"\xC3\xDF", 2}, {"\xE3\xEF", 3},        {"\xF0\xF7", 4},
        {"\xF8\xFB", 5}, {"\xFC\xFD", 6}, {"\x80\xBF\xFE\xFF", 9}};
    for (const auto& [leads, length] : cases) {
        for (const char lead : std::string(leads)) {
            for (std::size_t bytes = 1; bytes < 8; ++bytes) {
                EXPECT_EQ(Context().load("a=" + (lead + std::string(bytes - 1, '_'))),
                          bytes < length ? settings::kTextNotUtf8 : settings::kSuccess);
            }
        }
    }
}

TEST(ConfigText, BadLinesAreToldOnceAndSkippedOrEndTheLoad) {
    const struct {
        const char* text;
        const char* kept;         // without stopOnError
        std::vector<int> errors;  // the same
        std::string message;      // of the first one
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
            std::vector<int> errors = c.errors;
            errors.resize(stop ? 1 : errors.size());
            EXPECT_TRUE(told.starts_with("Error reading config file: " + c.message + "\n"));
            EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), std::ssize(errors)) << told;
            EXPECT_EQ(context.dump(), stop ? "old=1" : c.kept) << c.text;
            EXPECT_EQ(context.errors(), errors) << c.text;
            EXPECT_EQ(context.load("#"), settings::kSuccess);
            EXPECT_TRUE(context.errors().empty());
        }
    }
}

/// "k=3 is 3" as stored with its number, or "".
std::string loaded(const Validator& validator, const std::string& line) {
    Context context;
    context.load(line, {.validator = validator.get()});
    const std::string number = context.read(api.getInt, "k");
    return context.dump() + (number.starts_with("status") ? "" : " is " + number);
}

TEST(Validator, FixedTextsMatchFromTheLastOne) {
    const Validator validator = makeValidator([](auto* builder) {
        const FixedValue values[] = {{"on", 1, 0},
                                     {"ON", 2, settings::kExactCase},
                                     {"Off", 3, settings::kStoreListedText},
                                     {"on", 4, settings::kExactCase},
                                     {"twice", 5, 0},
                                     {"TWICE", 6, 0}};
        api.addFixedValues(builder, "k", values, 6);
        const FixedValue replaced[] = {{"twice", 7, settings::kExactCase}};
        api.addFixedValues(builder, "k", replaced, 1);
    });
    for (const auto& [line, expected] :
         {std::pair("k=on", "k=on is 4"),  // replaced in place, exact now
          std::pair("k=ON", "k=ON is 2"), std::pair("k=On", ""), std::pair("k=oFF", "k=Off is 3"),
          std::pair("k=twice", "k=twice is 6"),  // the entry behind wins
          std::pair("k=", ""), std::pair("k=@n", "")}) {
        EXPECT_EQ(loaded(validator, line), expected) << line;
    }
}

/// A validator of one key that is given these rules in turn: 'l' a list of one word, 'n' a number,
/// 'f' an absolute folder, 'r' one that may be relative.
Validator ruled(const std::string& rules) {
    return makeValidator([&](auto* builder) {
        for (const char rule : rules) {
            const FixedValue word = {"word", 9, settings::kExactCase};
            rule == 'l'   ? api.addFixedValues(builder, "k", &word, 1)
            : rule == 'n' ? api.addIntKey(builder, "k")
                          : api.addDirnameKey(builder, "k", rule == 'r');
        }
        api.allowUnknownKeys(builder, rules.empty() ? 0 : 7);
    });
}

TEST(Validator, PathsAreAbsoluteWhereAskedFor) {
    for (const std::string line : {"k=C:\\a\\..\\b", "k=c:/", "k=C:", "k=C:/\xE6\x97\xA5"}) {
        EXPECT_EQ(loaded(ruled("f"), line), line);
        EXPECT_EQ(loaded(ruled("r"), line), line);
    }
    for (const std::string line :
         {"k=x\\y", "k=\\\\server\\x", "k=1:/x", "k=CC:/x", "k=C/x", "k=", "k=C:/a*", "k=C:/NUL"}) {
        EXPECT_EQ(loaded(ruled("f"), line), "");
        EXPECT_EQ(loaded(ruled("r"), line), line);
    }
}

TEST(Validator, AKeyEndsUpWithOneRule) {
    for (const auto& [rules, accepted] :
         {std::pair("ln", "k=12 is 12"), std::pair("nl", "k=word is 9"),
          std::pair("fl", "k=word is 9"), std::pair("lf", "k=C:/x"), std::pair("nf", "k=C:/x"),
          std::pair("fn", "k=C:/x")}) {
        const Validator validator = ruled(rules);
        EXPECT_EQ(
            loaded(validator, "k=word") + loaded(validator, "k=12") + loaded(validator, "k=C:/x"),
            accepted)
            << rules;
        EXPECT_EQ(loaded(validator, "K=x"), "K=x") << "unknown keys are raw";
    }
    EXPECT_EQ(loaded(ruled(""), "k=1"), "");
}

}  // namespace
