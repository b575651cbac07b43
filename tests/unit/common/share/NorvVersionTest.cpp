#include "common/share/NorvVersion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "common/share/tstrings.h"
#include "support/Thrown.h"

namespace {

using NorvVersionDetails::Base;
using NorvVersionDetails::family;
using NorvVersionDetails::withoutBuild;
using tstrings::toUtf8;

Base norv(const std::string& text) {
    return Base(tstrings::fromUtf8(text));
}

TEST(NorvVersion, AcceptsBothSchemes) {
    // A text, and its canonical form.
    const std::pair<const char*, const char*> cases[] = {
        {"1.8.0_1-b10", "1.8.0_01-b10"},
        {"1.8.0_45-ea-fcs-b13", "1.8.0_45-b13"},
        {"1.8.00_045-", "1.8.0_45"},
        {"1.8.0-b1", "1.8.0-b01"},
        {"1.1.8_2", "1.1.8_02"},
        {"2.2.1", "2.2.1"},
        // A build that no number holds is a tag like any other, and so is build 0.
        {"1.8.0_45-b0", "1.8.0_45"},
        {"1.8.0_45-b2147483648", "1.8.0_45"},
        {"11.0.2.0+9-LTS", "11.0.2+9"},
        {"11--", "11"},
        {"11--x+9", "11"},
        {"11.1-ea+22-x", "11.1+22"},
        {"11+-LTS", "11"},
        {"11.0.2.1.3.4+2147483647", "11.0.2.1.3.4+2147483647"},
        // Two dots may follow the first number.
        {"11..5", "11.5"},
    };
    for (const auto& [text, canonical] : cases) {
        EXPECT_EQ(toUtf8(toString(norv(text))), canonical) << text;
    }
}

TEST(NorvVersion, RefusesTheRest) {
    const std::string partly = " completely. Number of unrecognized characters is ";
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {". The string is too short", {"", "1", "1.8", "2.2"}},
        {partly + "1", {"8", "1.", "1.8.", "1.8.-", "1.8.0_", "11.", "11-", "11+x"}},
        {partly + "2", {"1.8.0.5", "1.8.0_x", "11+5+"}},
        {partly + "3", {"2.2.0_1", "11.0.2.1.3.4.5", "11x", " 11"}},
        {partly + "4", {"01.0.0", "1.8.0_45-b13-foo", "2.2.0-b1"}},
        {partly + "5", {"3.1.2", "1.8-b13", "1.8.0--b13"}},
        {partly + "10", {"11.0.2147483648", "11.0.2+2147483648"}},
        {partly + "14", {"4294967297.8.0"}},
    };
    for (const auto& [refusal, texts] : cases) {
        for (const std::string& text : texts) {
            EXPECT_EQ(thrownText([&] { norv(text); }),
                      "Failed to parse [" + text + "] version string" + refusal);
        }
    }
}

TEST(NorvVersion, IsOrderedAcrossSchemes) {
    std::vector<Base> rising = {Base::unknown(), Base(), family(norv("1.8.0_45")), norv("1.8.0"),
                                withoutBuild(norv("1.8.0_45"))};
    for (const char* text :
         {"1.8.0_45", "1.8.0_45-b13", "1.8.0_46", "2.2.0", "9", "11.0.2", "11.0.2+9", "11.0.20"}) {
        rising.push_back(norv(text));
    }
    EXPECT_EQ(std::ranges::adjacent_find(rising, std::greater_equal()), rising.end());
}

struct Part {
    Base version;
    const char* text;
    std::size_t precision;
};

TEST(NorvVersion, HasPartsOfLessPrecision) {
    const Part rows[] = {
        {.version = family(norv("1.8.0_45-b13")), .text = "1.8", .precision = 2},
        {.version = family(norv("11.0.2.1+9")), .text = "11", .precision = 2},
        {.version = withoutBuild(norv("1.8.0_45-b13")), .text = "1.8.0_45", .precision = 4},
        {.version = withoutBuild(norv("11.0.2.1+9")), .text = "11.0.2.1", .precision = 7},
        {.version = norv("11"), .text = "11", .precision = 8},
    };
    for (const Part& row : rows) {
        EXPECT_EQ(toUtf8(toString(row.version)), row.text);
        EXPECT_EQ(row.version.precision(), row.precision) << row.text;
    }
}

}  // namespace
