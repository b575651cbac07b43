// Versions, and the products that are chosen by them or refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "common/share/tstrings.h"
#include "support/Thrown.h"
#include "windows/common/NorvEnvironment.h"

namespace {

using NorvVersionDetails::Base;
using NorvVersionDetails::family;
using NorvVersionDetails::withoutBuild;
using tstrings::toUtf8;
using namespace NorvEnvironment;

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
        // The dot between two numbers may stand twice behind the first of them.
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
    std::string parts;
    for (const Base& version :
         {family(norv("1.8.0_45-b13")), family(norv("11.0.2.1+9")),
          withoutBuild(norv("1.8.0_45-b13")), withoutBuild(norv("11.0.2.1+9")), norv("11")}) {
        parts += toUtf8(toString(version)) + "/" + std::to_string(version.precision()) + " ";
    }
    EXPECT_EQ(parts, "1.8/2 11/2 1.8.0_45/4 11.0.2.1/7 11/8 ");
}

/// "r64:17 k32:1.8.0 g64:2.2.0"
std::vector<InstalledNorv> products(const std::string& text) {
    std::vector<InstalledNorv> result;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const auto type = static_cast<std::int32_t>(std::string("rkg").find(word[0]));
        result.emplace_back(Bundle(type, norv(word.substr(4)), word[1] == '3' ? 32 : 64));
        result.back().productCode = Guid::generate();
        result.back().homeDir = u"C:\\x";
    }
    return result;
}

std::string names(const InstalledNorvSelection& selection) {
    std::string result;
    for (const InstalledNorv* product : selection) {
        result += product == nullptr
                      ? " -"
                      : std::string(" ") + "rkg"[product->type] + std::to_string(product->bits) +
                            ":" + toUtf8(sourceText(product->version));
    }
    return result;
}

TEST(Selection, HoldsTheLatestOfEachClass) {
    // All, the latest, and of these what is preferred for QVR 64, QVR 32, QVK 64, QVK 32.
    const std::pair<const char*, std::string> cases[] = {
        {"g64:2.2.0 r32:9 k64:9", " r32:9 - - k64:9 | r32:9 - - k64:9 | r32:9 r32:9 k64:9 k64:9"},
        {"r32:1.8.0_9 r32:1.8.0_10 r64:9 k64:11+9 k64:11+10 k32:11+10",
         " r32:1.8.0_10 r64:9 k32:11+10 k64:11+10 | - - k32:11+10 k64:11+10"
         " | k64:11+10 k32:11+10 k64:11+10 k32:11+10"},
        // Equal versions: the first record stays, whatever its text.
        {"r64:9--x r64:9",
         " - r64:9--x - - | - r64:9--x - - | r64:9--x r64:9--x r64:9--x r64:9--x"},
    };
    for (const auto& [text, expected] : cases) {
        const auto list = products(text);
        const auto selection = makeSelection(list);
        const auto latest = keepLatest(selection);
        EXPECT_EQ(names(selection) + " |" + names(latest) + " |" +
                      names({pickPreferred(latest, 0, 64), pickPreferred(latest, 0, 32),
                             pickPreferred(latest, 1, 64), pickPreferred(latest, 1, 32)}),
                  expected);
    }
}

TEST(Bundle, KeepsTheRuntimeOfAnOldKitApart) {
    EXPECT_EQ(getQvrSubdirectory(products("k64:1.8.0_301")[0]), u"qvr");
}

TEST(Verifier, ChecksWhatItIsAskedFor) {
    using Verifier = InstalledNorvsVerifier;
    auto list = products("r32:9 k64:11 g64:2.2.0");
    list[0].homeDir.clear();
    list[1].productCode = Guid();
    list[2].productCode = list[0].productCode;
    Verifier verifier;
    std::string complaints;
    const auto ask = [&] { complaints += thrownText([&] { verifier(list); }) + "|"; };
    for (bool Verifier::*check :
         {&Verifier::checkProductCodes, &Verifier::checkHomeDirs, &Verifier::checkDuplicates}) {
        ask();
        verifier.*check = false;
    }
    ask();
    verifier.allowedTypes = {0, 1};
    verifier.allowedBits = {64};
    ask();
    verifier.allowedTypes = {0, 1, 2};
    ask();
    EXPECT_EQ(complaints,
              "empty product code|empty home dir|duplicated product codes|nothing|"
              "unexpected types|unexpected archs|");
    EXPECT_EQ(
        thrownText([&] { getByProductCode(list, Guid(u"26A24AE4039D4CA487B42F64180451F0")); }),
        "No matching Norv found for {26A24AE4-039D-4CA4-87B4-2F64180451F0} Product Code in "
        "the given products range");
}

}  // namespace
