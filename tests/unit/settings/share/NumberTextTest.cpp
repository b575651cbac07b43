#include "settings/share/NumberText.h"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>
#include <optional>

#include "settings/share/SettingsException.h"

namespace {

using namespace settings_impl;

/// Returns the number, or nothing if reading it throws kBadValue.
template <class Read>
auto tried(Read read, const std::string& text) -> std::optional<decltype(read(text))> {
    try {
        return read(text);
    } catch (const settings::Exception& e) {
        EXPECT_EQ(e.code(), settings::kBadValue);
        return std::nullopt;
    }
}

using Integers = std::vector<std::pair<std::string, std::int32_t>>;

void expectIntegers(const Integers& rows) {
    for (const auto& [text, number] : rows) {
        EXPECT_EQ(tried(textToInt, text), number) << text;
    }
}

TEST(NumberText, IntegersAreDecimalOctalOrHexadecimal) {
    expectIntegers({{"7", 7}, {"-7", -7}, {"+7", 7}, {" \r7", 7}, {"0", 0}});
    expectIntegers({{"010", 8}, {"-010", -8}});
    expectIntegers({{"0x1f", 31}, {"-0X1F", -31}, {"\t\v0x1f", 31}, {"+0x1f", 0}});
}

TEST(NumberText, CharactersAfterAnIntegerAreIgnored) {
    expectIntegers({{"12abc", 12}, {"09", 0}, {"1.9", 1}, {"1e5", 1}, {"7 8", 7}, {"0x1fg", 31}});
}

TEST(NumberText, IntegersHave32Bits) {
    expectIntegers(
        {{"0x7fffffff", INT32_MAX}, {"-2147483648", INT32_MIN}, {"-0x80000000", INT32_MIN}});
    for (const char* text : {"+2147483648", "-2147483649", "0xffffffff", "0xfffffffffffffffffff"}) {
        EXPECT_EQ(tried(textToInt, text), std::nullopt) << text;
    }
}

TEST(NumberText, StringsWithoutAnIntegerAreRefused) {
    for (const char* text :
         {"", " ", "x", "-", "+", "- 1", "--1", "0x", "0xg", ".5", "inf", "\xE3\x81\x82"}) {
        EXPECT_EQ(tried(textToInt, text), std::nullopt) << text;
    }
}

TEST(NumberText, DoublesAreDecimalWithFractionAndExponent) {
    const std::pair<const char*, double> rows[] = {
        {"1.5", 1.5}, {"-.5", -0.5}, {"5.", 5},  {"1e2", 100}, {"1.5E-1x", 0.15}, {" \r+2", 2},
        {"3,5", 3},   {"010", 10},   {"1d5", 1}, {"0x1p3", 0}, {"1e5e5", 100000}};
    for (const auto& [text, number] : rows) {
        EXPECT_EQ(tried(textToDouble, text), number) << text;
    }
}

TEST(NumberText, DoublesHave64Bits) {
    EXPECT_EQ(textToDouble("1.7976931348623157e308"), std::numeric_limits<double>::max());
    EXPECT_EQ(textToDouble("4.9e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(textToDouble("1e-400"), 0);
}

TEST(NumberText, StringsWithoutACompleteDoubleAreRefused) {
    for (const char* text : {"", ".", "e5", "1e", "1e+", "-", "inf", "nan", "1.8e308", "-1e309"}) {
        EXPECT_EQ(tried(textToDouble, text), std::nullopt) << text;
    }
}

TEST(NumberText, FlagsAreWordsOrIntegers) {
    for (const char* text : {"YES", "True", "0x10", "-1", " 7 ", "1x"}) {
        EXPECT_EQ(tried(textToBool, text), true) << text;
    }
    for (const char* text : {"no", "FALSE", "00"}) {
        EXPECT_EQ(tried(textToBool, text), false) << text;
    }
    for (const char* text : {"", " yes", "maybe"}) {
        EXPECT_EQ(tried(textToBool, text), std::nullopt) << text;
    }
}

TEST(NumberText, FlagsAreWrittenAsWords) {
    EXPECT_EQ(boolToText(true), "true");
    EXPECT_EQ(boolToText(false), "false");
}

TEST(NumberText, TheLocaleOfTheProcessMakesNoDifference) {
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    EXPECT_EQ(textToDouble("1.5e1"), 15);
    EXPECT_EQ(numberToText(1.5), "1.5");
    EXPECT_EQ(numberToText(-1.5e-15), "-1.5e-15");
    EXPECT_EQ(numberToText(1e100), "1e+100");
    std::setlocale(LC_ALL, "C");
}

}  // namespace
