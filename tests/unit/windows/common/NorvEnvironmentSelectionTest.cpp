// The products that are chosen by their versions, or refused.
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
using tstrings::toUtf8;
using namespace NorvEnvironment;

Base norv(const std::string& text) {
    return Base(tstrings::fromUtf8(text));
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
