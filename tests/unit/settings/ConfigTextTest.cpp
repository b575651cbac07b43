// The format of configurations and the rules of their keys.
#include <gtest/gtest.h>

#include <sstream>

#include "support/Settings.h"

namespace {

TEST(ConfigText, LinesBecomeEntries) {
    const std::pair<const char*, const char*> rows[] = {
        {" \t\n#a=1\n\t # b=2\nA=\nB= \t", "A=|B="},
        {"\t KEY \t=\t a value \t", "KEY=a value"},
        {"a b:b=c\nd=e:f=\na#b=\"x y\" # note", "a b=b=c|a#b=\"x y\" # note|d=e:f="},
        {"a=1\rb=2\nc=3\r\nd=4\n\re=5\n", "a=1|b=2|c=3|d=4|e=5"},
        {"b=1\na=2\nB=3\n\xC3\xA9=5\na=6", "B=3|a=6|b=1|\xC3\xA9=5"},
        {"\xEF\xBB\xBF_=\xE6\x97\xA5\n KEY # note \n/q\n",
         "/q|KEY # note|\xEF\xBB\xBF_=\xE6\x97\xA5"},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(Context(text).dump(), expected);
    }
}

TEST(ConfigText, LeadBytesAloneTellWhatIsText) {
    const std::pair<const char*, std::size_t> rows[] = {
        {"\x7F", 1},     {"\xC3\xDF", 2}, {"\xE3\xEF", 3},        {"\xF0\xF7", 4},
        {"\xF8\xFB", 5}, {"\xFC\xFD", 6}, {"\x80\xBF\xFE\xFF", 9}};
    for (const auto& [leads, length] : rows) {
        for (const char lead : std::string(leads)) {
            for (std::size_t bytes = 1; bytes < 8; ++bytes) {
                EXPECT_EQ(Context().load("a=" + (lead + std::string(bytes - 1, '_'))),
                          bytes < length ? settings::kTextNotUtf8 : settings::kSuccess);
            }
        }
    }
}

TEST(ConfigText, BadLinesAreToldOnceAndSkippedOrEndTheLoad) {
    const Validator validator = makeValidator([](auto* builder) {
        api.addStringKey(builder, "a");
        api.addIntKey(builder, "n");
    });
    const char* const text =
        "\ta=1\n  : x\r\n#\n\t bare \nunknown=\r\n  n=x\nn=1\nn=y\n"
        "a=\xE3\n__";  // a form of three bytes whose line ends within it
    const std::string told =
        "Error reading config file: \"Empty key\" at line 2; char 3\n"
        "Error reading config file: \"Key without value\" at line 4; char 3\n"
        "Error reading config file: \"Invalid key\" at line 5; char 1\n"
        "Error reading config file: \"Invalid value\" at line 6; char 3\n"
        "Error reading config file: \"Invalid value\" at line 8; char 1\n"
        "Error reading config file: \"Invalid value\" at line 9; char 1\n"
        "Error reading config file: \"Key without value\" at line 10; char 1\n";
    for (const bool stop : {true, false}) {
        Context context("old=1");
        testing::internal::CaptureStderr();
        EXPECT_EQ(context.load(text, {.validator = validator.get(), .stopOnError = stop}),
                  settings::kBadLines);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  stop ? told.substr(0, told.find('\n') + 1) : told);
        EXPECT_EQ(context.dump(), stop ? "old=1" : "a=1|n=1|old=1");
        EXPECT_EQ(context.errors(),
                  stop ? std::vector<int>{1} : (std::vector<int>{1, 3, 4, 5, 7, 8, 9}));
        EXPECT_EQ(context.load("#"), settings::kSuccess);
        EXPECT_TRUE(context.errors().empty());
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
        const FixedValue values[] = {
            {"on", 9, 0}, {"ON", 2, settings::kExactCase}, {"Off", 3, settings::kStoreListedText}};
        api.addFixedValues(builder, "k", values, 3);
        const FixedValue replaced = {"on", 1, 0};
        api.addFixedValues(builder, "k", &replaced, 1);
        const FixedValue nameless = {nullptr, 1, 0};
        EXPECT_EQ(api.addFixedValues(builder, "k", &nameless, 1), settings::kNullArgument);
    });
    std::string all;
    for (const char* line : {"k=on", "k=ON", "k=oN", "k=oFF", "k=", "k=@n"}) {
        all += loaded(validator, line) + "; ";
    }
    EXPECT_EQ(all, "k=on is 1; k=ON is 2; k=oN is 1; k=Off is 3; ; ; ");
}

TEST(Validator, AKeyEndsUpWithOneRule) {
    const std::string absolute = "C:\\a\\..\\b|c:/|C:|C:/日|";
    const std::string relative = "x\\y|\\\\server\\x|CC:/x||C:/NUL|";
    // The rules are given in turn: 'l' a list of one word, 'n' a number, 'f' an absolute folder,
    // 'r' one that may be relative.
    const std::pair<std::string, std::string> rows[] = {
        {"ln", "12|"},    {"fl", "word|"}, {"lf", absolute},
        {"fn", absolute}, {"", ""},        {"r", absolute + relative + "word|12|"}};
    for (const auto& [rules, accepted] : rows) {
        const Validator validator = makeValidator([&, &given = rules](auto* builder) {
            for (const char rule : given) {
                const FixedValue word = {"word", 9, settings::kExactCase};
                rule == 'l'   ? api.addFixedValues(builder, "k", &word, 1)
                : rule == 'n' ? api.addIntKey(builder, "k")
                              : api.addDirnameKey(builder, "k", rule == 'r');
            }
            api.allowUnknownKeys(builder, given.empty() ? 0 : 7);
        });
        std::istringstream values(absolute + relative + "word|12|");
        std::string found;
        for (std::string value; std::getline(values, value, '|');) {
            found += loaded(validator, "k=" + value).empty() ? "" : value + "|";
        }
        EXPECT_EQ(found, accepted);
        EXPECT_EQ(loaded(validator, "K=x"), rules.empty() ? "" : "K=x") << "unknown keys are raw";
    }
}

}  // namespace
