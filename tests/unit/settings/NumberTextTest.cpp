// Numbers are held to what a stream of the C++ library makes of the same text.
#include "settings/share/NumberText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <iomanip>
#include <optional>
#include <sstream>
#include <vector>

#include "settings/share/SettingsException.h"

namespace {

using namespace settings_impl;

template <class Number>
std::optional<Number> streamed(std::string text) {
    text.erase(0, text.find_first_not_of(" \t\n\v"));
    std::ranges::transform(text, text.begin(),
                           [](unsigned char byte) { return std::tolower(byte); });
    const std::string digits = text.substr(text.starts_with('-') ? 1 : 0);
    const int base = digits.starts_with("0x") ? 16 : digits.starts_with('0') ? 8 : 10;
    std::istringstream stream(text);
    Number number;
    stream >> std::setbase(base) >> number;
    return stream.fail() ? std::nullopt : std::optional(number);
}

template <class Read>
auto tried(Read read, const std::string& text) -> std::optional<decltype(read(text))> {
    try {
        return read(text);
    } catch (const settings::Exception& e) {
        EXPECT_EQ(e.code(), settings::kBadValue);
        return std::nullopt;
    }
}

TEST(NumberText, EveryTextReadsAsAStreamReadsIt) {
    std::istringstream edges(
        "1.7976931348623157e308 1.8e308 -1e309 4.9e-324 1e-400 1e5e5 3,5 inf nan 0x1p3 1d5 "
        "2147483647 2147483648 -2147483648 -2147483649 0xffffffff -0x80000000 "
        "99999999999999999999999 \xE3\x81\x82");
    std::vector<std::string> texts = {"", "\t\v0X1f"};
    for (std::string edge; edges >> edge;) {
        texts.push_back(edge);
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string text = texts[i];
        for (const std::string& one : {text, "1" + text + "5"}) {
            ASSERT_EQ(tried(textToInt, one), streamed<std::int32_t>(one)) << "[" << one << "]";
            ASSERT_EQ(tried(textToDouble, one), streamed<double>(one)) << "[" << one << "]";
        }
        for (const char byte : std::string(text.size() < 4 ? " \r+-0x19f.e" : "")) {
            texts.push_back(text + byte);
        }
    }
}

TEST(NumberText, FlagsAreWordsOrIntegers) {
    std::string flags;
    for (const char* text :
         {"YES", "True", "0x10", "-1", " 7 ", "1x", "no", "FALSE", "00", "", " yes", "maybe"}) {
        const auto flag = tried(textToBool, text);
        flags += flag ? boolToText(*flag) + " " : "- ";
    }
    EXPECT_EQ(flags, "true true true true true true false false false - - - ");
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
