// Numbers are held to what a stream of the C++ library makes of the same text.
#include "settings/share/NumberText.h"

#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <iomanip>
#include <optional>
#include <sstream>

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

void expectStreamed(const std::string& text) {
    ASSERT_EQ(tried(textToInt, text), streamed<std::int32_t>(text)) << "[" << text << "]";
    const auto bits = [](std::optional<double> number) {
        return number ? std::optional(std::bit_cast<std::uint64_t>(*number)) : std::nullopt;
    };
    ASSERT_EQ(bits(tried(textToDouble, text)), bits(streamed<double>(text))) << "[" << text << "]";
}

TEST(NumberText, EveryTextReadsAsAStreamReadsIt) {
    const std::string alphabet = " \r+-0x19f.e";
    std::vector<std::string> texts = {""};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        expectStreamed(texts[i]);
        expectStreamed("1" + texts[i] + "5");
        for (const char byte : texts[i].size() < 4 ? alphabet : "") {
            texts.push_back(texts[i] + byte);
        }
    }
    for (const char* text : {"1.7976931348623157e308",
                             "1.8e308",
                             "-1e309",
                             "4.9e-324",
                             "1e-400",
                             "1e5e5",
                             "3,5",
                             "inf",
                             "nan",
                             "0x1p3",
                             "1d5",
                             "2147483647",
                             "2147483648",
                             "-2147483648",
                             "-2147483649",
                             "0xffffffff",
                             "-0x80000000",
                             "99999999999999999999999",
                             "\t\v0X1f",
                             "\xE3\x81\x82"}) {
        expectStreamed(text);
    }
}

TEST(NumberText, FlagsAreWordsOrIntegers) {
    const struct {
        const char* text;
        std::optional<bool> expected;
    } cases[] = {{"YES", true},  {"True", true}, {"no", false},          {"FALSE", false},
                 {"0x10", true}, {"00", false},  {"-1", true},           {" 7 ", true},
                 {"1x", true},   {"", {}},       {" yes", std::nullopt}, {"maybe", std::nullopt}};
    for (const auto& c : cases) {
        EXPECT_EQ(tried(textToBool, c.text), c.expected) << "[" << c.text << "]";
    }
    EXPECT_EQ(boolToText(true), "true");
    EXPECT_EQ(boolToText(false), "false");
}

TEST(NumberText, NumbersAreWrittenAsAStreamWritesThem) {
    for (const double number :
         {0.0, -0.0, 0.1, 1.0, 1e10, 1234567.0, 1.0 / 3, 1e-5, 5e-324, -1.7976931348623157e308}) {
        std::ostringstream stream;
        stream << number;
        EXPECT_EQ(numberToText(number), stream.str());
    }
    EXPECT_EQ(numberToText(INT32_MIN), "-2147483648");
    // Whatever the process has set.
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    EXPECT_EQ(textToDouble("1.5e1"), 15);
    EXPECT_EQ(numberToText(1.5), "1.5");
    std::setlocale(LC_ALL, "C");
}

}  // namespace
