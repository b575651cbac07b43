#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "common/share/tstrings.h"
#include "simulated/machine/Machine.h"
#include "support/Thrown.h"
#include "windows/common/NorvEnvironment.h"
#include "windows/common/Paths.h"
#include "windows/common/Registry.h"

namespace {

using namespace NorvEnvironment;
using tstrings::toUtf8;

/// "r64:17 k32:1.8.0 g64:2.2.0"
std::vector<InstalledNorv> products(const std::string& text) {
    std::vector<InstalledNorv> result;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const auto type = static_cast<std::int32_t>(std::string("rkg").find(word[0]));
        const NorvVersionDetails::Base version(tstrings::fromUtf8(word.substr(4)));
        result.emplace_back(Bundle(type, version, word[1] == '3' ? 32 : 64));
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
        {"g64:2.2.0 g32:2.2.0", " - - - - | - - - - | - - - -"},
        {"k32:9", " - - k32:9 - | - - k32:9 - | k32:9 k32:9 k32:9 k32:9"},
        {"r32:9 k64:9", " r32:9 - - k64:9 | r32:9 - - k64:9 | r32:9 r32:9 k64:9 k64:9"},
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
    auto list = products("r32:9 r64:10 k32:11 k64:12");
    const auto selection = makeSelection(list);
    EXPECT_EQ(names(selectByType(selection, Bundle::kQvk)), " - - k32:11 k64:12");
    EXPECT_EQ(names(selectByArch(selection, 64)), " - r64:10 - k64:12");
    EXPECT_EQ(thrownText([] { selectionIndex(2, 64); }), "Unexpected 'tag'");

    // An empty slot ranks above an unknown version.
    list.resize(1);
    list[0].version = NorvVersionDetails::Base::unknown();
    EXPECT_EQ(names(keepLatest(makeSelection(list))), " - - - -");
}

TEST(Verifier, ChecksWhatItIsAskedFor) {
    const auto good = products("r32:9 k64:11 g64:2.2.0");
    auto list = good;
    InstalledNorvsVerifier verifier;
    std::string complaints;
    const auto ask = [&] { complaints += thrownText([&] { verifier(list); }) + "\n"; };
    ask();
    // In the order of the checks, not of the list.
    list[0].homeDir.clear();
    list[1].productCode = Guid();
    list[2].productCode = list[0].productCode;
    ask();
    verifier.checkProductCodes = false;
    ask();
    verifier.checkHomeDirs = false;
    ask();
    verifier.checkDuplicates = false;
    ask();
    verifier.allowedTypes = {0, 1};
    verifier.allowedBits = {64};
    ask();
    verifier.allowedTypes = {0, 1, 2};
    ask();
    EXPECT_EQ(complaints,
              "nothing\nempty product code\nempty home dir\nduplicated product codes\nnothing\n"
              "unexpected types\nunexpected archs\n");

    EXPECT_EQ(&getByProductCode(good, good[1].productCode), &good[1]);
    EXPECT_EQ(thrownText(
                  [&] { getByProductCode(good, Guid(u"{26A24AE4-039D-4CA4-87B4-2F64180451F0}")); }),
              "No matching Norv found for {26A24AE4-039D-4CA4-87B4-2F64180451F0} Product Code in "
              "the given products range");
}

TEST(Bundle, NamesItsKeysAndPlaces) {
    std::string places;
    for (const InstalledNorv& product :
         products("r64:1.8.0_45-b13 k64:1.8.0_301 k64:9 r32:11.0.2+9")) {
        EXPECT_EQ(&getRootKey(product), product.bits == 32 ? &HKLM32 : &HKLM64);
        places += toUtf8(getVersionKeyPath(product) + u" " + getFamilySubkeyPath(product) + u" " +
                         getRuntimeHome(product)) +
                  "\n";
    }
    EXPECT_EQ(places,
              "Software\\Halvorex\\Norv Runtime Environment\\1.8.0_45 "
              "Software\\Halvorex\\Norv Runtime Environment\\1.8 C:\\x\n"
              "Software\\Halvorex\\Norv Development Kit\\1.8.0_301 "
              "Software\\Halvorex\\Norv Development Kit\\1.8 C:\\x\\qvr\n"
              "Software\\Halvorex\\QVK\\9 Software\\Halvorex\\QVK\\9 C:\\x\n"
              "Software\\Halvorex\\QVR\\11.0.2 Software\\Halvorex\\QVR\\11 C:\\x\n");
    EXPECT_EQ(thrownText([] { getVersionKeyPath(products("g64:2.2.0")[0]); }),
              "Unexpected type2 of 2.2.0");
}

TEST(Manifest, NamesAVersion) {
    const std::string head = "Manifest-Version: 1.0\r\n";
    EXPECT_EQ(
        readManifestVersion(head + "Implementation-Version: 1.8.0_301-b09\r\n\r\n").sourceText(),
        u"1.8.0_301-b09");
    for (const char* bad : {"implementation-version: 11\n", "Implementation-Version: eleven\n",
                            "Implementation-Version: 11\nno name or value\n"}) {
        EXPECT_THROW(readManifestVersion(head + bad), std::runtime_error) << bad;
    }
}

}  // namespace
