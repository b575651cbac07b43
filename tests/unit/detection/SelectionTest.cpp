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

std::string name(const InstalledNorv* product) {
    if (product == nullptr) {
        return "-";
    }
    return "rkg"[product->type] + std::to_string(product->bits) + ":" +
           tstrings::toUtf8(sourceText(product->version));
}

std::string names(const InstalledNorvSelection& selection) {
    std::string result;
    for (const InstalledNorv* product : selection) {
        result += (result.empty() ? "" : " ") + name(product);
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
        {"", "- - - -", "- - - -", "- - - -"},
        {"g64:2.2.0 g32:2.2.0", "- - - -", "- - - -", "- - - -"},
        {"k32:1.8.0", "- - k32:1.8.0 -", "- - k32:1.8.0 -",
         "k32:1.8.0 k32:1.8.0 k32:1.8.0 k32:1.8.0"},
        {"r32:17 r64:17", "r32:17 r64:17 - -", "r32:17 r64:17 - -", "r64:17 r32:17 r64:17 r32:17"},
        {"r32:1.8.0_9 r32:1.8.0_10 r64:9 k64:11+9 k64:11+10 k32:11+10",
         "r32:1.8.0_10 r64:9 k32:11+10 k64:11+10", "- - k32:11+10 k64:11+10",
         "k64:11+10 k32:11+10 k64:11+10 k32:11+10"},
        // Equal versions: the first record stays, whatever its text.
        {"r64:11.0.2+9-LTS r64:11.0.2+9", "- r64:11.0.2+9-LTS - -", "- r64:11.0.2+9-LTS - -",
         "r64:11.0.2+9-LTS r64:11.0.2+9-LTS r64:11.0.2+9-LTS r64:11.0.2+9-LTS"},
    };
    for (const auto& c : cases) {
        const auto list = products(c.products);
        const auto selection = makeSelection(list);
        EXPECT_EQ(names(selection), c.all);
        const auto latest = keepLatest(selection);
        EXPECT_EQ(names(latest), c.latest);
        EXPECT_EQ(name(pickPreferred(latest, 0, 64)) + " " + name(pickPreferred(latest, 0, 32)) +
                      " " + name(pickPreferred(latest, 1, 64)) + " " +
                      name(pickPreferred(latest, 1, 32)),
                  c.preferred);
    }
    const auto list = products("r32:9 r64:10 k32:11 k64:12");
    const auto selection = makeSelection(list);
    EXPECT_EQ(names(selectByType(selection, Bundle::kQvk)), "- - k32:11 k64:12");
    EXPECT_EQ(names(selectByArch(selection, 64)), "- r64:10 - k64:12");
    EXPECT_EQ(name(pickPreferred(selectByArch(selectByType(selection, 0), 32), 0, 64)), "r32:9");
    EXPECT_EQ(thrownText([] { selectionIndex(2, 64); }), "Unexpected 'tag'");

    // No version is as low as that of an unknown one.
    auto unknown = products("r32:9");
    unknown[0].version = NorvVersionDetails::Base::unknown();
    EXPECT_EQ(names(keepLatest(makeSelection(unknown))), "- - - -");
}

TEST(Verifier, ChecksWhatItIsAskedFor) {
    const auto complaint = [](std::vector<InstalledNorv> list, auto change) {
        InstalledNorvsVerifier verifier;
        change(list, verifier);
        return thrownText([&] { verifier(list); });
    };
    const auto good = products("r32:9 k64:11 g64:2.2.0");
    EXPECT_EQ(complaint(good, [](auto&, auto&) {}), "nothing");
    const auto noCode = [](auto& list, auto&) { list[1].productCode = Guid(); };
    const auto noHome = [](auto& list, auto&) { list[2].homeDir.clear(); };
    const auto twice = [](auto& list, auto&) { list[2].productCode = list[0].productCode; };
    EXPECT_EQ(complaint(good, noCode), "empty product code");
    EXPECT_EQ(complaint(good, noHome), "empty home dir");
    EXPECT_EQ(complaint(good, twice), "duplicated product codes");
    EXPECT_EQ(complaint(good, [](auto&, auto& v) { v.allowedTypes = {0, 1}; }), "unexpected types");
    EXPECT_EQ(complaint(good, [](auto&, auto& v) { v.allowedBits = {64}; }), "unexpected archs");
    EXPECT_EQ(complaint(good,
                        [&](auto& list, auto& v) {
                            noCode(list, v);
                            noHome(list, v);
                            twice(list, v);
                            v.checkProductCodes = v.checkDuplicates = v.checkHomeDirs = false;
                            v.allowedTypes = {0, 1, 2};
                            v.allowedBits = {32, 64};
                        }),
              "nothing");
    // The order of the checks, not of the list.
    EXPECT_EQ(complaint(good,
                        [&](auto& list, auto& v) {
                            list[0].homeDir.clear();
                            noCode(list, v);
                        }),
              "empty product code");

    EXPECT_EQ(&getByProductCode(good, good[1].productCode), &good[1]);
    EXPECT_EQ(thrownText([&] {
                  getByProductCode(good, Guid(_T("{26A24AE4-039D-4CA4-87B4-2F64180451F0}")));
              }),
              "No matching Norv found for {26A24AE4-039D-4CA4-87B4-2F64180451F0} Product Code in "
              "the given products range");
}

TEST(Bundle, NamesItsKeysAndPlaces) {
    const auto bundle = [](std::int32_t type, const TCHAR* version, std::uint32_t bits = 64) {
        return Bundle(type, NorvVersionDetails::Base(version), bits);
    };
    const struct {
        Bundle bundle;
        std::string family;  ///< below "Software\\Halvorex"
        std::string version, line;
        const TCHAR* runtime;  ///< below the home directory
    } cases[] = {
        {bundle(0, _T("1.8.0_45-b13")), "Norv Runtime Environment", "1.8.0_45", "1.8", _T("")},
        {bundle(1, _T("1.7.0")), "Norv Development Kit", "1.7.0", "1.7", _T("qvr")},
        {bundle(1, _T("1.8.0_301")), "Norv Development Kit", "1.8.0_301", "1.8", _T("qvr")},
        {bundle(1, _T("1.9.0")), "Norv Development Kit", "1.9.0", "1.9", _T("")},
        {bundle(0, _T("9")), "QVR", "9", "9", _T("")},
        {bundle(1, _T("11.0.2+9")), "QVK", "11.0.2", "11", _T("")},
    };
    for (const auto& c : cases) {
        const std::string family = "Software\\Halvorex\\" + c.family + "\\";
        EXPECT_EQ(tstrings::toUtf8(getVersionKeyPath(c.bundle)), family + c.version);
        EXPECT_EQ(tstrings::toUtf8(getFamilySubkeyPath(c.bundle)), family + c.line);
        InstalledNorv product(c.bundle);
        EXPECT_EQ(getRuntimeHome(product), c.runtime);
        product.homeDir = _T("C:\\x");
        EXPECT_EQ(getRuntimeHome(product), FileUtils::combinePath(_T("C:\\x"), c.runtime));
    }
    EXPECT_EQ(&getRootKey(bundle(0, _T("9"), 32)), &HKLM32);
    EXPECT_EQ(&getRootKey(bundle(0, _T("9"), 64)), &HKLM64);
    EXPECT_EQ(thrownText([&] { getRootKey(bundle(0, _T("9"), 16)); }),
              "Unexpected bundle arch: 16");
    const Bundle graphics = bundle(2, _T("2.2.0"));
    EXPECT_EQ(thrownText([&] { getVersionKeyPath(graphics); }), "Unexpected type2 of 2.2.0");
    EXPECT_EQ(thrownText([&] { getQvrSubdirectory(graphics); }), "Unexpected type2 of 2.2.0");

    simulated::Machine machine;
    const simulated::Running running(machine);
    machine.registry.setString(simulated::View::Bits32, u"HKLM\\Software\\Halvorex\\QVR\\9\\MSI",
                               u"MODE", u"S");
    EXPECT_EQ(getMsiValue(bundle(0, _T("9"), 32), _T("MODE"), _T("-")), u"S");
    EXPECT_EQ(getMsiValue(bundle(0, _T("9"), 64), _T("MODE"), _T("-")), u"-");
    EXPECT_EQ(machine.calls.count("GetLocalTime"), 0u);  // no record
}

TEST(Manifest, NamesAVersion) {
    const auto version = [](const std::string& text) {
        return tstrings::toUtf8(sourceText(readManifestVersion(text)));
    };
    EXPECT_EQ(version("Manifest-Version: 1.0\r\nImplementation-Version: 1.8.0_301-b09\r\n\r\n"),
              "1.8.0_301-b09");
    for (const char* bad : {"", "implementation-version: 11\n", "Implementation-Version\n",
                            "Implementation-Version: eleven\n", "\xff\xfe\n",
                            "Implementation-Version: 11\nno name or value\n"}) {
        EXPECT_THROW(readManifestVersion(bad), std::runtime_error) << bad;
    }
}

}  // namespace
