#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/share/tstrings.h"
#include "simulated/machine/Machine.h"
#include "support/LogReader.h"
#include "support/Products.h"
#include "support/Thrown.h"
#include "windows/common/Guid.h"
#include "windows/common/InstalledNorvTracker.h"
#include "windows/common/KnownProductCodeInstalledNorvTracker.h"

namespace {

using tstrings::fromUtf8;
using tstrings::toUtf8;

template <class Product>
std::string kindOf(const Product& product) {
    const char* const types[] = {"QVR", "QVK", "GFX"};
    return types[product.type] + std::to_string(product.bits) + " ";
}

TEST(ProductCodes, SpellTypeArchitectureAndVersion) {
    const std::pair<const char*, const char*> cases[] = {
        {"{7148F0A8-6813-11D6-A77B-00B0D0142070}", "QVR32 1.4.2_07"},
        {"{35A3A4F4-B792-11D6-A78A-00B0D014200F}", "QVK32 1.4.2"},
        {"{32A3A4F4-B792-11D6-A78A-00B0D0150220}", "QVK32 1.5.0_22"},
        {"{64A3A4F4-B792-11D6-A78A-00B0D0151050}", "QVK64 1.5.1_05"},
        // Not a digit where the 1.5 rows want the update: the general row, which has none.
        {"{32A3A4F4-B792-11D6-A78A-00B0D0150A20}", "QVK32 1.5.0"},
        {"{64A3A4F4-B792-11D6-A78A-00B0D01700FF}", "QVK64 1.7.0"},
        {"{3248F0A8-6813-11D6-A77B-00B0D0160000}", "QVR32 1.6.0"},
        {"{6448F0A8-6813-11D6-A77B-00B0D0160210}", "QVR64 1.6.0_21"},
        {"{26A24AE4-039D-4CA4-87B4-2F83218045F0}", "QVR32 1.8.0_45"},
        {"{26A24AE4-039D-4CA4-87B4-2F864170450F}", "QVR64 1.7.0_45"},
        {"{26A24AE4-039D-4CA4-87B4-2F32180091F0}", "QVR32 1.8.0_091"},
        {"{26A24AE4-039D-4CA4-87B4-2F64180451F0}", "QVR64 1.8.0_451"},
        {"{71024AE4-039E-4CA4-87B4-2F32180451F0}", "QVR32 1.8.0_451"},
        {"{ABC24AE4-039E-4CA4-87B4-2F64180000F0}", "QVR64 1.8.0"},
        {"{1111706F-666A-4037-7777-220328764D10}", "GFX32 2.2.0"},
        {"{1111706F-666A-4037-7777-221648764D10}", "GFX64 2.2.1"},
        {"{1111706F-666A-4037-7777-222503264D10}", "GFX32 2.2.25"},
        {"{1111706F-666A-4037-7777-222106464D10}", "GFX64 2.2.21"},
        // Case counts, also of hexadecimal digits that mean nothing.
        {"{26A24AE4-039D-4CA4-87B4-2F64180451f0}", "-"},
        {"{26A24AE4-039D-4CA4-87B4-2F64180451G0}", "-"},
        {"{26A24AE4-039D-4CA4-87B4-2F64A80451F0}", "-"},
        {"{26A24AE4-039D-4CA4-87B4-2F64180451F0", "-"},
    };
    for (const auto& [code, expected] : cases) {
        tstring version;
        const auto* row = KnownProductCodeInstalledNorvTracker::match(fromUtf8(code), version);
        EXPECT_EQ(row == nullptr ? "-" : kindOf(*row) + toUtf8(version), expected) << code;
    }
}

class Trackers : public testing::Test {
protected:
    /// "QVR64 1.8.0_45/4|" for each product; "!" and a text for an exception at the end.
    std::string track() {
        const auto tracker = createInstalledNorvTracker();
        std::string result;
        const std::string thrown = thrownText([&] {
            while (const TrackedProduct* product = tracker->next()) {
                const std::size_t precision = product->version.precision();
                result += kindOf(*product) +
                          (precision > 0 ? toUtf8(toString(product->version)) : "?") + "/" +
                          std::to_string(precision) + "|";
            }
            EXPECT_EQ(tracker->next(), nullptr);
        });
        return result + (thrown == "nothing" ? "" : "! " + thrown);
    }

    void add(const std::u16string& code, const std::u16string& upgradeCode = {}) {
        machine.installer.addProduct({code, {}, upgradeCode, {}});
    }

    simulated::Machine machine;
    simulated::Running running{machine};
};

TEST_F(Trackers, DeliverTemplateMatchesFirstThenUpgradeCodesInOrder) {
    EXPECT_EQ(track(), "");
    EXPECT_EQ(machine.calls.count("MsiEnumRelatedProductsW"), 4u * 91);
    // The last is beyond the upgrade codes.
    for (const auto& product : {products::qvr(u"99"), products::qvr(u"9"), products::qvk(u"17", 32),
                                products::qvr(u"1.8.0_45-b13"), products::qvr(u"100")}) {
        products::install(machine, product);
    }
    EXPECT_EQ(track(), "QVR64 1.8.0_45/4|QVK32 ?/0|QVR64 ?/0|QVR64 ?/0|");
    machine.facts.is64BitSystem = false;
    EXPECT_EQ(track(), "QVR64 1.8.0_45/4|QVK32 ?/0|");
}

TEST_F(Trackers, TellDamagedEntriesFromAListThatCannotBeRead) {
    // The upgrade code names the first product a second time.
    const std::u16string upgradeCode = u"{57BDA5C6-443C-4D65-B233-282396420011}";
    add(u"{26A24AE4-039D-4CA4-87B4-2F64180451F0}", upgradeCode);
    add(u"{00000000-0000-0000-0000-000000000001}", upgradeCode);
    machine.calls.failCall("MsiEnumProductsW", 2, 1610);
    EXPECT_EQ(track(), "QVR64 1.8.0_451/4|QVR64 ?/0|");
    EXPECT_TRUE(logHas(machine, "MsiEnumProducts(1) failed with error=[1610] \nIgnored."));
    EXPECT_TRUE(logHas(machine,
                       "Product with ProductCode=[{26A24AE4-039D-4CA4-87B4-2F64180451F0}] is "
                       "tracked multiple times"));

    machine.calls.failCall("MsiEnumRelatedProductsW", 3, 1610);
    EXPECT_EQ(track(),
              "QVR64 1.8.0_451/4|! MsiEnumRelatedProducts({57BDA5C6-443C-4D65-B233-282393220011}, "
              "1) failed with error=[1610]");

    // Digits that are no version of that type.
    for (const char16_t* code :
         {u"{26A24AE4-039D-4CA4-87B4-2F64080451F0}", u"{26A24AE4-039D-4CA4-87B4-2F64222000F0}"}) {
        add(code);
        EXPECT_NE(track().find('!'), std::string::npos) << toUtf8(code);
        machine.installer.removeProduct(code);
    }

    // Without an end of the list there would be none of the search.
    for (int i = 0; i < 300; ++i) {
        add(Guid::generate().toString());
    }
    machine.calls.failAll("MsiEnumProductsW", 1610);
    EXPECT_EQ(track(), "! MsiEnumProducts(255) failed with error=[1610]");
}

}  // namespace
