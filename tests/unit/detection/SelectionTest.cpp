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
        result.back().homeDir = _T("C:\\x");
    }
    return result;
}

std::string names(const InstalledNorvSelection& selection) {
    std::string result;
    for (const InstalledNorv* product : selection) {
        result += result.empty() ? "" : " ";
        result += product == nullptr ? "-"
                                     : "rkg"[product->type] + std::to_string(product->bits) + ":" +
                                           toUtf8(sourceText(product->version));
    }
    return result;
}

TEST(Selection, HoldsTheLatestOfEachClass) {
    const struct {
        const char* products;
        const char* all;
        const char* latest;
        const char* preferred;  ///< of the latest: for QVR 64, QVR 32, QVK 64, QVK 32
    } cases[] = {
        {"g64:2.2.0 g32:2.2.0", "- - - -", "- - - -", "- - - -"},
        {"k32:9", "- - k32:9 -", "- - k32:9 -", "k32:9 k32:9 k32:9 k32:9"},
        {"r32:9 k64:9", "r32:9 - - k64:9", "r32:9 - - k64:9", "r32:9 r32:9 k64:9 k64:9"},
        {"r32:1.8.0_9 r32:1.8.0_10 r64:9 k64:11+9 k64:11+10 k32:11+10",
         "r32:1.8.0_10 r64:9 k32:11+10 k64:11+10", "- - k32:11+10 k64:11+10",
         "k64:11+10 k32:11+10 k64:11+10 k32:11+10"},
        // Equal versions: the first record stays, whatever its text.
        {"r64:9--x r64:9", "- r64:9--x - -", "- r64:9--x - -",
         "r64:9--x r64:9--x r64:9--x r64:9--x"},
    };
    for (const auto& c : cases) {
        const auto list = products(c.products);
        const auto selection = makeSelection(list);
        EXPECT_EQ(names(selection), c.all);
        const auto latest = keepLatest(selection);
        EXPECT_EQ(names(latest), c.latest);
        EXPECT_EQ(names({pickPreferred(latest, 0, 64), pickPreferred(latest, 0, 32),
                         pickPreferred(latest, 1, 64), pickPreferred(latest, 1, 32)}),
                  c.preferred);
    }
    auto list = products("r32:9 r64:10 k32:11 k64:12");
    const auto selection = makeSelection(list);
    EXPECT_EQ(names(selectByType(selection, Bundle::kQvk)), "- - k32:11 k64:12");
    EXPECT_EQ(names(selectByArch(selection, 64)), "- r64:10 - k64:12");
    EXPECT_EQ(latestOfType(selection, Bundle::kQvr), &list[1]);
    EXPECT_EQ(thrownText([] { selectionIndex(2, 64); }), "Unexpected 'tag'");

    // An empty slot ranks above an unknown version.
    list.resize(1);
    list[0].version = NorvVersionDetails::Base::unknown();
    EXPECT_EQ(names(keepLatest(makeSelection(list))), "- - - -");
}

TEST(Verifier, ChecksWhatItIsAskedFor) {
    const auto good = products("r32:9 k64:11 g64:2.2.0");
    auto list = good;
    InstalledNorvsVerifier verifier;
    const auto complaint = [&] { return thrownText([&] { verifier(list); }); };
    EXPECT_EQ(complaint(), "nothing");
    // In the order of the checks, not of the list.
    list[0].homeDir.clear();
    list[1].productCode = Guid();
    list[2].productCode = list[0].productCode;
    EXPECT_EQ(complaint(), "empty product code");
    verifier.checkProductCodes = false;
    EXPECT_EQ(complaint(), "empty home dir");
    verifier.checkHomeDirs = false;
    EXPECT_EQ(complaint(), "duplicated product codes");
    verifier.checkDuplicates = false;
    EXPECT_EQ(complaint(), "nothing");
    verifier.allowedTypes = {0, 1};
    verifier.allowedBits = {64};
    EXPECT_EQ(complaint(), "unexpected types");
    verifier.allowedTypes = {0, 1, 2};
    EXPECT_EQ(complaint(), "unexpected archs");

    EXPECT_EQ(&getByProductCode(good, good[1].productCode), &good[1]);
    EXPECT_EQ(thrownText([&] {
                  getByProductCode(good, Guid(_T("{26A24AE4-039D-4CA4-87B4-2F64180451F0}")));
              }),
              "No matching Norv found for {26A24AE4-039D-4CA4-87B4-2F64180451F0} Product Code in "
              "the given products range");
}

TEST(Bundle, NamesItsKeysAndPlaces) {
    const struct {
        const char* product;
        std::string family;  ///< below "Software\\Halvorex"
        std::string version, line;
        const char* runtime;
    } cases[] = {
        {"r64:1.8.0_45-b13", "Norv Runtime Environment", "1.8.0_45", "1.8", "C:\\x"},
        {"k64:1.8.0_301", "Norv Development Kit", "1.8.0_301", "1.8", "C:\\x\\qvr"},
        {"k64:9", "QVK", "9", "9", "C:\\x"},
        {"r32:11.0.2+9", "QVR", "11.0.2", "11", "C:\\x"},
    };
    for (const auto& c : cases) {
        const InstalledNorv product = products(c.product)[0];
        const std::string family = "Software\\Halvorex\\" + c.family + "\\";
        EXPECT_EQ(toUtf8(getVersionKeyPath(product)), family + c.version);
        EXPECT_EQ(toUtf8(getFamilySubkeyPath(product)), family + c.line);
        EXPECT_EQ(toUtf8(getRuntimeHome(product)), c.runtime);
        EXPECT_EQ(&getRootKey(product), product.bits == 32 ? &HKLM32 : &HKLM64);
    }
    InstalledNorv product = products("g64:2.2.0")[0];
    EXPECT_EQ(thrownText([&] { getVersionKeyPath(product); }), "Unexpected type2 of 2.2.0");
    product.bits = 16;
    EXPECT_EQ(thrownText([&] { getRootKey(product); }), "Unexpected bundle arch: 16");
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
