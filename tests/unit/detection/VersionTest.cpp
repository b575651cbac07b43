#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/share/NorvVersion.h"
#include "common/share/tstrings.h"
#include "support/Thrown.h"

namespace {

using NorvVersionDetails::Base;
using NorvVersionDetails::family;
using NorvVersionDetails::withoutBuild;
using tstrings::fromUtf8;
using tstrings::toUtf8;

Base norv(const std::string& text) {
    return Base(fromUtf8(text));
}

TEST(NorvVersion, AcceptsBothSchemes) {
    // A text, and its canonical form.
    const std::pair<const char*, const char*> cases[] = {
        {"1.8.0_05-b03", "1.8.0_05-b03"},
        {"1.8.0_45-ea-fcs-b13", "1.8.0_45-b13"},
        {"1.8.00_045-", "1.8.0_45"},
        {"1.8.0-b13", "1.8.0-b13"},
        // A build that no number holds is a tag like any other.
        {"1.8.0_45-b2147483648", "1.8.0_45"},
        {"2.2.0", "2.2.0"},
        {"9", "9"},
        {"11.0.2.0+9-LTS", "11.0.2+9"},
        {"11--", "11"},
        {"11.1-ea+22-x", "11.1+22"},
        {"11+-LTS", "11"},
        {"11.0.2.1.3.4+9", "11.0.2.1.3.4+9"},
        // The dot between two numbers may stand twice behind the first of them.
        {"11..5", "11.5"},
    };
    for (const auto& [text, canonical] : cases) {
        const Base version = norv(text);
        EXPECT_EQ(toUtf8(toString(version)), canonical) << text;
        EXPECT_EQ(toUtf8(sourceText(version)), text);
        EXPECT_EQ(norv(canonical), version) << text;
    }
}

TEST(NorvVersion, RefusesTheRest) {
    // How many characters aren't understood; with 0 the text is too short.
    const std::pair<int, std::vector<std::string>> cases[] = {
        {0, {"", "1", "1.8", "2.2"}},
        {1, {"8", "0", "1.", "1.8.", "1.8.-", "1.8.0_", "11.", "11-", "11+x", "."}},
        {2, {"1.8.0.5", "1.8.0_x", "11+5+"}},
        {3, {"2.2.0_1", "11.0.2.1.3.4.5", "11x", " 11", "+11"}},
        {4, {"01.0.0", "1.8.0_45-b13-foo", "2.2.0-b1", "0x11"}},
        {5, {"3.1.2", "1.8-b13", "1.8.0--b13"}},
        {10, {"2147483648", "11.0.2147483648", "11.0.2+2147483648"}},
        {14, {"4294967297.8.0"}},
    };
    for (const auto& [unrecognized, texts] : cases) {
        const std::string tail = unrecognized == 0
                                     ? ". The string is too short"
                                     : " completely. Number of unrecognized characters is " +
                                           std::to_string(unrecognized);
        for (const std::string& text : texts) {
            EXPECT_EQ(thrownText([&] { norv(text); }),
                      "Failed to parse [" + text + "] version string" + tail);
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
    for (std::size_t i = 0; i < rising.size(); ++i) {
        for (std::size_t k = 0; k < rising.size(); ++k) {
            EXPECT_EQ(rising[i] < rising[k], i < k) << i << " " << k;
            EXPECT_EQ(rising[i] == rising[k], i == k) << i << " " << k;
        }
    }
}

TEST(NorvVersion, KnowsFamilyPrecisionAndScheme) {
    std::string text;
    for (const Base& version :
         {family(norv("1.8.0_45-b13")), family(norv("11.0.2.1+9")),
          withoutBuild(norv("1.8.0_45-b13")), withoutBuild(norv("11.0.2.1+9")), norv("11")}) {
        text += toUtf8(toString(version)) + "/" + std::to_string(version.precision()) + " ";
    }
    EXPECT_EQ(text, "1.8/2 11/2 1.8.0_45/4 11.0.2.1/7 11/8 ");
    EXPECT_EQ(Base::unknown().precision(), 0u);
    EXPECT_EQ(thrownText([] { toString(Base()); }), "unknown version tag");
    for (const auto& noFamily : {norv("2.2.0"), Base(), Base::unknown()}) {
        EXPECT_THROW(family(noFamily), std::logic_error);
        EXPECT_THROW(withoutBuild(noFamily), std::logic_error);
    }
    EXPECT_EQ(thrownText([] { SpecializedVersion<NorvVersionDetails::BaseLegacy>(norv("11-ea")); }),
              "11-ea is not recognized as a legacy Norv version string");
    EXPECT_EQ(thrownText([] { SpecializedVersion<NorvVersionDetails::BaseZentra>(norv("2.2.0")); }),
              "2.2.0 is not recognized as a Zentra Norv version string");
}

TEST(GenericVersion, ReadsFourOrFiveNumbers) {
    // The components, or the end of the message.
    const std::pair<const char*, const char*> cases[] = {
        {"2.8.51.9", "2.8.51.9.0."},      {"02.08.0.0.7", "2.8.0.0.7."},
        {"2.8.51", "too short"},          {"2.8.51.9.", "characters is 1"},
        {"2.8..51.9", "characters is 5"}, {"2.8.51.9.7.1", "characters is 2"}};
    for (const auto& [text, expected] : cases) {
        VersionDetails::Base<5, VersionDetails::Parser, 4> version;
        const std::string message = thrownText([&, t = text] { version.init(fromUtf8(t)); });
        std::string numbers;
        for (std::size_t i = 0; i < version.kComponents; ++i) {
            numbers += std::to_string(version[i]) + ".";
        }
        const std::string& result = message == "nothing" ? numbers : message;
        EXPECT_TRUE(result.ends_with(expected)) << text << ": " << result;
    }
}

}  // namespace
