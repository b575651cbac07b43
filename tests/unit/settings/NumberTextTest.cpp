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

/// "12", or "status 302".
template <class Read>
std::string answer(Read read, const std::string& text) {
    try {
        return std::to_string(read(text));
    } catch (const settings::Exception& e) {
        return "status " + std::to_string(e.code());
    }
}

std::string prepared(std::string text) {
    text.erase(0, text.find_first_not_of(" \t\n\v"));
    for (char& byte : text) {
        byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
    }
    return text;
}

template <class Number>
std::optional<Number> streamed(const std::string& text) {
    std::istringstream stream(prepared(text));
    const bool hexadecimal = stream.str().starts_with("0x") || stream.str().starts_with("-0x");
    const bool octal = stream.str().starts_with("0") || stream.str().starts_with("-0");
    Number number;
    stream >> std::setbase(hexadecimal ? 16 : octal ? 8 : 10) >> number;
    return stream.fail() ? std::nullopt : std::optional(number);
}

template <class Number, class Read>
std::optional<Number> tried(Read read, const std::string& text) {
    try {
        return read(text);
    } catch (const settings::Exception&) {
        return std::nullopt;
    }
}

void expectStreamed(const std::string& text) {
    ASSERT_EQ(tried<std::int32_t>(settings_impl::textToInt, text), streamed<std::int32_t>(text))
        << "[" << text << "]";
    const auto bits = [](std::optional<double> number) {
        return number ? std::optional(std::bit_cast<std::uint64_t>(*number)) : std::nullopt;
    };
    ASSERT_EQ(bits(tried<double>(settings_impl::textToDouble, text)), bits(streamed<double>(text)))
        << "[" << text << "]";
}

TEST(NumberText, IntegersChooseTheirBaseAndEndWhereTheirDigitsDo) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"12", "12"},
        {"010", "8"},
        {"0x10", "16"},
        {"  0X1f", "31"},
        {"-010", "-8"},
        {"-0x1F", "-31"},
        {"12abc", "12"},
        {"09", "0"},
        {"+0x10", "0"},
        {"\r0x10", "0"},
        {"\r-12", "-12"},
        {"2147483647", "2147483647"},
        {"2147483648", "status 302"},
        {"-2147483648", "-2147483648"},
        {"-2147483649", "status 302"},
        {"0xffffffff", "status 302"},
        {"-0x80000000", "-2147483648"},
        {"99999999999999999999999", "status 302"},
        {"0x", "status 302"},
        {"0xg", "status 302"},
        {"", "status 302"},
        {" ", "status 302"},
        {"- 1", "status 302"},
        {"abc", "status 302"},
        {"\xE3\x81\x82", "status 302"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(answer(settings_impl::textToInt, c.text), c.expected) << "[" << c.text << "]";
        expectStreamed(c.text);
    }
}

TEST(NumberText, EveryShortTextReadsAsAStreamReadsIt) {
    const std::string alphabet = " \r+-0x19f.e";
    std::vector<std::string> texts = {""};
    for (int length = 0; length < 4; ++length) {
        std::vector<std::string> longer;
        for (const std::string& text : texts) {
            for (const char byte : alphabet) {
                longer.push_back(text + byte);
                expectStreamed(longer.back());
                expectStreamed("1" + longer.back() + "5");
            }
        }
        texts = std::move(longer);
    }
    for (const char* text : {"1.7976931348623157e308", "1.8e308", "-1e309", "4.9e-324", "1e-400",
                             "0.1", "1e+", "1e5e5", "3,5", "inf", "nan", "0x1p3", "1d5"}) {
        expectStreamed(text);
    }
}

TEST(NumberText, FlagsAreWordsOrIntegers) {
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {{"YES", "1"},
                 {"True", "1"},
                 {"no", "0"},
                 {"FALSE", "0"},
                 {"0x10", "1"},
                 {"0", "0"},
                 {"00", "0"},
                 {"-1", "1"},
                 {" 7 ", "1"},
                 {"1x", "1"},
                 {" yes", "status 302"},
                 {"maybe", "status 302"},
                 {"", "status 302"}};
    for (const auto& c : cases) {
        EXPECT_EQ(answer(settings_impl::textToBool, c.text), c.expected) << "[" << c.text << "]";
    }
}

TEST(NumberText, NumbersAreWrittenAsAStreamWritesThem) {
    for (const double number : {0.0, -0.0, 0.1, 1.0, 1e10, 123456.0, 1234567.0, 1.0 / 3, 1e-5,
                                -1.7976931348623157e308, 5e-324}) {
        std::ostringstream stream;
        stream << number;
        EXPECT_EQ(settings_impl::numberToText(number), stream.str());
    }
    // Whatever the process has set.
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    EXPECT_EQ(settings_impl::textToDouble("1.5e1"), 15);
    EXPECT_EQ(settings_impl::numberToText(1.5), "1.5");
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(settings_impl::numberToText(INT32_MIN), "-2147483648");
    EXPECT_EQ(settings_impl::boolToText(true), "true");
    EXPECT_EQ(settings_impl::boolToText(false), "false");
}

}  // namespace
