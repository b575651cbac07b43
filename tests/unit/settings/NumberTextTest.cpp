// Numbers are held to what a stream of the C++ library makes of the same text.
#include "settings/share/NumberText.h"

#include <gtest/gtest.h>

#include <bit>
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
    for (char& byte : text) {
        byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
    }
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("-0x");
    const bool octal = text.starts_with("0") || text.starts_with("-0");
    std::istringstream stream(text);
    Number number;
    stream >> std::setbase(hexadecimal ? 16 : octal ? 8 : 10) >> number;
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

std::optional<std::uint64_t> bits(std::optional<double> number) {
    return number ? std::optional(std::bit_cast<std::uint64_t>(*number)) : std::nullopt;
}

void expectStreamed(const std::string& text) {
    ASSERT_EQ(tried(textToInt, text), streamed<std::int32_t>(text)) << "[" << text << "]";
    ASSERT_EQ(bits(tried(textToDouble, text)), bits(streamed<double>(text))) << "[" << text << "]";
}

TEST(NumberText, EveryTextReadsAsAStreamReadsIt) {
    const std::string alphabet = " \r+-0x19f.e";
    std::vector<std::string> texts = {"", "\t\v0X1f"};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        expectStreamed(texts[i]);
        expectStreamed("1" + texts[i] + "5");
        for (const char byte : texts[i].size() < 4 ? alphabet : "") {
            texts.push_back(texts[i] + byte);
        }
    }
    std::istringstream edges(
        "1.7976931348623157e308 1.8e308 -1e309 4.9e-324 1e-400 1e5e5 3,5 inf nan 0x1p3 1d5 "
        "2147483647 2147483648 -2147483648 -2147483649 0xffffffff -0x80000000 "
        "99999999999999999999999 \xE3\x81\x82");
    for (std::string text; edges >> text;) {
        expectStreamed(text);
    }
}

TEST(NumberText, FlagsAreWordsOrIntegers) {
    const std::pair<std::optional<bool>, std::vector<const char*>> cases[] = {
        {true, {"YES", "True", "0x10", "-1", " 7 ", "1x"}},
        {false, {"no", "FALSE", "00"}},
        {std::nullopt, {"", " yes", "maybe"}}};
    for (const auto& [expected, texts] : cases) {
        for (const char* text : texts) {
            EXPECT_EQ(tried(textToBool, text), expected) << "[" << text << "]";
        }
    }
    EXPECT_EQ(boolToText(true), "true");
    EXPECT_EQ(boolToText(false), "false");
}

TEST(NumberText, NumbersAreWrittenAsAStreamWritesThemWhateverTheLocale) {
    for (const double number :
         {0.0, -0.0, 0.1, 1.0, 1e10, 1234567.0, 1.0 / 3, 1e-5, 5e-324, -1.7976931348623157e308}) {
        std::ostringstream stream;
        stream << number;
        EXPECT_EQ(numberToText(number), stream.str());
    }
    EXPECT_EQ(numberToText(INT32_MIN), "-2147483648");
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    EXPECT_EQ(textToDouble("1.5e1"), 15);
    EXPECT_EQ(numberToText(1.5), "1.5");
    std::setlocale(LC_ALL, "C");
}

}  // namespace
