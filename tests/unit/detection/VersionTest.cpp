#include <gtest/gtest.h>

#include <array>
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

template <class Version>
std::string components(const Version& version) {
    std::string result;
    for (std::size_t i = 0; i < Version::kComponents; ++i) {
        result += (i == 0 ? "" : ".") + std::to_string(version[i]);
    }
    return result;
}

Base norv(const std::string& text) {
    return Base(fromUtf8(text));
}

TEST(NorvVersion, AcceptsBothSchemes) {
    const struct {
        const char* text;
        const char* components;
        const char* canonical;
    } cases[] = {
        {"1.8.0_05-b03", "1.8.0.5.3.0.0.0", "1.8.0_05-b03"},
        {"1.8.0-b132", "1.8.0.0.132.0.0.0", "1.8.0-b132"},
        {"1.8.0_45-ea-fcs-b13", "1.8.0.45.13.0.0.0", "1.8.0_45-b13"},
        {"1.8.0_45-ea", "1.8.0.45.0.0.0.0", "1.8.0_45"},
        {"1.8.0_45-b", "1.8.0.45.0.0.0.0", "1.8.0_45"},
        {"1.8.0_45-", "1.8.0.45.0.0.0.0", "1.8.0_45"},
        {"1.8.00_045", "1.8.0.45.0.0.0.0", "1.8.0_45"},
        // A build that no number holds is a tag like any other.
        {"1.8.0_45-b2147483648", "1.8.0.45.0.0.0.0", "1.8.0_45"},
        {"2.2.0", "2.2.0.0.0.0.0.0", "2.2.0"},
        {"9", "3.9.0.0.0.0.0.0", "9"},
        {"11.0", "3.11.0.0.0.0.0.0", "11"},
        {"11.0.2.0+9-LTS", "3.11.0.2.0.0.0.9", "11.0.2+9"},
        {"11.0.0.1", "3.11.0.0.1.0.0.0", "11.0.0.1"},
        {"11--", "3.11.0.0.0.0.0.0", "11"},
        {"11.1-ea+22-x", "3.11.1.0.0.0.0.22", "11.1+22"},
        {"11+-LTS", "3.11.0.0.0.0.0.0", "11"},
        {"11.0.2.1.3.4+9", "3.11.0.2.1.3.4.9", "11.0.2.1.3.4+9"},
        {"2147483647", "3.2147483647.0.0.0.0.0.0", "2147483647"},
        // The dot between two numbers may stand twice behind the first of them.
        {"11..5", "3.11.5.0.0.0.0.0", "11.5"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Base version;
        ASSERT_NO_THROW(version = norv(c.text));
        EXPECT_EQ(components(version), c.components);
        EXPECT_EQ(toUtf8(toString(version)), c.canonical);
        EXPECT_EQ(toUtf8(sourceText(version)), c.text);
        // Zeros in front, tags and a build 0 don't survive; what does is the same version again.
        EXPECT_EQ(norv(c.canonical), version);
    }
}

TEST(NorvVersion, RefusesTheRest) {
    // How much of the text isn't understood; nothing of it is, but it is too short.
    const std::pair<const char*, int> cases[] = {{"", 0},
                                                 {"1", 0},
                                                 {"1.8", 0},
                                                 {"2.2", 0},
                                                 {"8", 1},
                                                 {"0", 1},
                                                 {"3.1.2", 5},
                                                 {"1.", 1},
                                                 {"1.8.", 1},
                                                 {"1.8.-", 1},
                                                 {"1.8.0.5", 2},
                                                 {"1.8-b13", 5},
                                                 {"1.8.0_", 1},
                                                 {"1.8.0_x", 2},
                                                 {"01.0.0", 4},
                                                 {"1.8.0_45-b13-foo", 4},
                                                 {"1.8.0--b13", 5},
                                                 {"2.2.0_1", 3},
                                                 {"2.2.0-b1", 4},
                                                 {"11.", 1},
                                                 {"11.0.2.1.3.4.5", 3},
                                                 {"11-", 1},
                                                 {"11+x", 1},
                                                 {"11+5+", 2},
                                                 {"11x", 3},
                                                 {" 11", 3},
                                                 {"+11", 3},
                                                 {"0x11", 4},
                                                 {".", 1},
                                                 {"2147483648", 10},
                                                 {"11.0.2147483648", 10},
                                                 {"11.0.2+2147483648", 10},
                                                 {"1.8.0_2147483648", 11},
                                                 {"4294967297.8.0", 14}};
    for (const auto& [text, unrecognized] : cases) {
        const std::string start = std::string("Failed to parse [") + text + "] version string";
        const std::string tail = unrecognized == 0
                                     ? ". The string is too short"
                                     : " completely. Number of unrecognized characters is " +
                                           std::to_string(unrecognized);
        EXPECT_EQ(thrownText([&, version = text] { norv(version); }), start + tail);
    }
    EXPECT_NE(thrownBy([] {
                  norv("x");
              }).find("at VersionDetails::Base<8,struct NorvVersionDetails::Parser,1>::init(): "),
              std::string::npos);
}

TEST(NorvVersion, IsOrderedAcrossSchemes) {
    const std::vector<Base> rising = {Base::unknown(),
                                      Base(),
                                      family(norv("1.8.0_45")),
                                      norv("1.8.0"),
                                      withoutBuild(norv("1.8.0_45")),
                                      norv("1.8.0_45"),
                                      norv("1.8.0_45-b13"),
                                      norv("1.8.0_46"),
                                      norv("2.2.0"),
                                      norv("9"),
                                      norv("11.0.2"),
                                      norv("11.0.2+9"),
                                      norv("11.0.20")};
    for (std::size_t i = 0; i < rising.size(); ++i) {
        for (std::size_t k = 0; k < rising.size(); ++k) {
            EXPECT_EQ(rising[i] < rising[k], i < k) << i << " " << k;
            EXPECT_EQ(rising[i] == rising[k], i == k) << i << " " << k;
        }
    }
}

TEST(NorvVersion, KnowsFamilyPrecisionAndScheme) {
    EXPECT_NE(family(norv("1.9.0")), family(norv("9")));
    for (const auto& [text, ofFamily, ofKey] : {std::array{"1.8.0_45-b13", "1.8", "1.8.0_45"},
                                                std::array{"11.0.2.1+9", "11", "11.0.2.1"}}) {
        EXPECT_EQ(toUtf8(toString(family(norv(text)))), ofFamily);
        EXPECT_EQ(toUtf8(toString(withoutBuild(norv(text)))), ofKey);
    }
    EXPECT_EQ(toUtf8(sourceText(family(norv("1.8.0_45-b13")))), "1.8.0_45-b13");

    EXPECT_EQ(Base::unknown().precision(), 0u);
    EXPECT_EQ(family(norv("11")).precision(), 2u);
    EXPECT_EQ(withoutBuild(norv("1.8.0_45")).precision(), 4u);
    EXPECT_EQ(withoutBuild(norv("11")).precision(), 7u);
    EXPECT_EQ(norv("11").precision(), 8u);

    for (const auto& noScheme : {Base(), Base::unknown()}) {
        EXPECT_EQ(thrownText([&] { toString(noScheme); }), "unknown version tag");
    }
    for (const auto& noFamily : {norv("2.2.0"), Base(), Base::unknown()}) {
        EXPECT_THROW(family(noFamily), std::logic_error);
        EXPECT_THROW(withoutBuild(noFamily), std::logic_error);
    }

    using Legacy = SpecializedVersion<NorvVersionDetails::BaseLegacy>;
    using Zentra = SpecializedVersion<NorvVersionDetails::BaseZentra>;
    EXPECT_EQ(Legacy(norv("1.8.0_45")), norv("1.8.0_45"));
    EXPECT_EQ(Zentra(norv("11-ea")).sourceText(), u"11-ea");
    EXPECT_EQ(thrownText([] { Legacy(norv("11-ea")); }),
              "11-ea is not recognized as a legacy Norv version string");
    EXPECT_EQ(thrownText([] { Zentra(norv("2.2.0")); }),
              "2.2.0 is not recognized as a Zentra Norv version string");
}

TEST(GenericVersion, ReadsFourOrFiveNumbers) {
    using Version = VersionDetails::Base<5, VersionDetails::Parser, 4>;
    // The components, or the end of the message.
    const std::pair<const char*, const char*> cases[] = {
        {"2.8.51.9", "2.8.51.9.0"},       {"2.8.51.9.7", "2.8.51.9.7"},
        {"02.08.0.0", "2.8.0.0.0"},       {"2.8.51", "too short"},
        {"2.8.51.9.", "characters is 1"}, {"2.8.51.9.7.1", "characters is 2"},
        {"2.8..51.9", "characters is 5"}};
    for (const auto& c : cases) {
        Version version;
        const std::string message = thrownBy([&] { version.init(fromUtf8(c.first)); });
        const std::string result = message == "nothing" ? components(version) : message;
        EXPECT_TRUE(result.ends_with(c.second)) << c.first << ": " << result;
    }

    std::int32_t numbers[8];
    std::size_t none = 0;
    EXPECT_THROW(VersionDetails::Parser()(u"1", numbers, none), std::length_error);
    std::size_t seven = 7;
    EXPECT_THROW(NorvVersionDetails::Parser()(u"11", numbers, seven), std::length_error);
    EXPECT_EQ(thrownText([] { VersionDetails::parseComponent(u"45a"); }),
              "Failed to recognize version component in [45a]");
}

}  // namespace
