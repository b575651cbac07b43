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

TEST(ProductCodes, SpellTypeArchitectureAndVersion) {
    const std::pair<const char*, const char*> cases[] = {
        {"{7148F0A8-6813-11D6-A77B-00B0D0142070}", "QVR 32 1.4.2_07"},
        {"{35A3A4F4-B792-11D6-A78A-00B0D014200F}", "QVK 32 1.4.2"},
        {"{32A3A4F4-B792-11D6-A78A-00B0D0150220}", "QVK 32 1.5.0_22"},
        {"{64A3A4F4-B792-11D6-A78A-00B0D0151050}", "QVK 64 1.5.1_05"},
        // Not a digit where the 1.5 rows want the update: the general row, which has none.
        {"{32A3A4F4-B792-11D6-A78A-00B0D0150A20}", "QVK 32 1.5.0"},
        {"{32A3A4F4-B792-11D6-A78A-00B0D0180451}", "QVK 32 1.8.0"},
        {"{64A3A4F4-B792-11D6-A78A-00B0D01700FF}", "QVK 64 1.7.0"},
        {"{3248F0A8-6813-11D6-A77B-00B0D0160000}", "QVR 32 1.6.0"},
        {"{6448F0A8-6813-11D6-A77B-00B0D0160210}", "QVR 64 1.6.0_21"},
        {"{26A24AE4-039D-4CA4-87B4-2F83218045F0}", "QVR 32 1.8.0_45"},
        {"{26A24AE4-039D-4CA4-87B4-2F864170450F}", "QVR 64 1.7.0_45"},
        {"{26A24AE4-039D-4CA4-87B4-2F32180091F0}", "QVR 32 1.8.0_091"},
        {"{26A24AE4-039D-4CA4-87B4-2F64180451F0}", "QVR 64 1.8.0_451"},
        {"{71024AE4-039E-4CA4-87B4-2F32180451F0}", "QVR 32 1.8.0_451"},
        {"{ABC24AE4-039E-4CA4-87B4-2F64180000F0}", "QVR 64 1.8.0"},
        {"{1111706F-666A-4037-7777-220328764D10}", "GFX 32 2.2.0"},
        {"{1111706F-666A-4037-7777-221648764D10}", "GFX 64 2.2.1"},
        {"{1111706F-666A-4037-7777-222503264D10}", "GFX 32 2.2.25"},
        {"{1111706F-666A-4037-7777-222106464D10}", "GFX 64 2.2.21"},
        // Case counts, also of hexadecimal digits that mean nothing.
        {"{26A24AE4-039D-4CA4-87B4-2F64180451f0}", "-"},
        {"{26A24AE4-039D-4CA4-87B4-2F64180451G0}", "-"},
        {"{26A24AE4-039D-4CA4-87B4-2F64A80451F0}", "-"},
        {"26A24AE4-039D-4CA4-87B4-2F64180451F0", "-"},
        {"{26A24AE4-039D-4CA4-87B4-2F64180451F0", "-"},
    };
    for (const auto& [code, expected] : cases) {
        tstring version = _T("untouched");
        const ProductCodeTemplate* row =
            KnownProductCodeInstalledNorvTracker::match(fromUtf8(code), version);
        const char* const types[] = {"QVR", "QVK", "GFX"};
        const std::string meaning = row == nullptr
                                        ? "-"
                                        : std::string(types[row->type]) + " " +
                                              std::to_string(row->bits) + " " + toUtf8(version);
        EXPECT_EQ(meaning, expected) << code;
    }
}

class Trackers : public testing::Test {
protected:
    /// "QVR64 1.8.0_45" for each product; "!" and a text for an exception at the end.
    std::vector<std::string> track() {
        const auto tracker = createInstalledNorvTracker();
        std::vector<std::string> result;
        const std::string thrown = thrownText([&] {
            while (const TrackedProduct* product = tracker->next()) {
                const char* const types[] = {"QVR", "QVK", "GFX"};
                const bool known = product->version.precision() > 0;
                result.push_back(types[product->type] + std::to_string(product->bits) + " " +
                                 (known ? toUtf8(toString(product->version)) : "?") + " /" +
                                 std::to_string(product->version.precision()));
                EXPECT_EQ(product->uninstaller, nullptr);
            }
            EXPECT_EQ(tracker->next(), nullptr);
        });
        if (thrown != "nothing") {
            result.push_back("! " + thrown);
        }
        return result;
    }

    void add(const std::u16string& code, const std::u16string& upgradeCode = {}) {
        machine.installer.addProduct({code, {}, upgradeCode, {}});
    }

    simulated::Machine machine;
    simulated::Running running{machine};
};

using Lines = std::vector<std::string>;

TEST_F(Trackers, DeliverTemplateMatchesFirstThenUpgradeCodesInOrder) {
    EXPECT_EQ(track(), Lines());
    EXPECT_EQ(machine.calls.count("MsiEnumRelatedProductsW"), 4u * 91);

    products::install(machine, products::qvk(u"11.0.2+9", 64));
    products::install(machine, products::qvr(u"99", 64));
    products::install(machine, products::qvr(u"9", 64));
    products::install(machine, products::gfx(u"2.2.0", 32));
    products::install(machine, products::qvk(u"17", 32));
    products::install(machine, products::qvr(u"1.8.0_45-b13", 64));
    products::install(machine, products::qvr(u"100", 64));  // beyond the upgrade codes
    add(u"{12345678-0000-0000-0000-000000000000}");
    EXPECT_EQ(track(), (Lines{"GFX32 2.2.0 /8", "QVR64 1.8.0_45 /4", "QVK32 ? /0", "QVR64 ? /0",
                              "QVR64 ? /0", "QVK64 ? /0"}));

    machine.facts.is64BitSystem = false;
    EXPECT_EQ(track(), (Lines{"GFX32 2.2.0 /8", "QVR64 1.8.0_45 /4", "QVK32 ? /0"}));
}

TEST_F(Trackers, DeliverEachProductOnce) {
    const std::u16string code = u"{26A24AE4-039D-4CA4-87B4-2F64180451F0}";
    add(code, u"{57BDA5C6-443C-4D65-B233-282396420011}");
    add(u"{00000000-0000-0000-0000-000000000001}", u"{57BDA5C6-443C-4D65-B233-282396420011}");
    EXPECT_EQ(track(), (Lines{"QVR64 1.8.0_451 /4", "QVR64 ? /0"}));
    EXPECT_EQ(logMessages(machine, "WARNING"),
              Lines{"Product with ProductCode=[" + toUtf8(code) + "] is tracked multiple times"});
}

TEST_F(Trackers, TellDamagedEntriesFromAListThatCannotBeRead) {
    add(u"{00000000-0000-0000-0000-000000000001}");
    add(u"{26A24AE4-039D-4CA4-87B4-2F64180451F0}");
    machine.calls.failCall("MsiEnumProductsW", 1, 1610);
    EXPECT_EQ(track(), Lines{"QVR64 1.8.0_451 /4"});
    EXPECT_TRUE(logHas(machine, "MsiEnumProducts(0) failed with error=[1610] \nIgnored."));

    machine.calls.failCall("MsiEnumRelatedProductsW", 3, 1610);
    EXPECT_EQ(track(), (Lines{"QVR64 1.8.0_451 /4",
                              "! MsiEnumRelatedProducts({57BDA5C6-443C-4D65-B233-282393220011}, 1) "
                              "failed with error=[1610]"}));

    // Without an end of the list there would be none of the search.
    for (int i = 0; i < 300; ++i) {
        add(Guid::generate().toString());
    }
    machine.calls.failAll("MsiEnumProductsW", 1610);
    const auto result = track();
    ASSERT_EQ(result.size(), 1u);
    EXPECT_TRUE(result[0].starts_with("! MsiEnumProducts(")) << result[0];
}

TEST_F(Trackers, RefuseDigitsThatAreNoVersion) {
    for (const char16_t* code :
         {u"{26A24AE4-039D-4CA4-87B4-2F64080451F0}", u"{26A24AE4-039D-4CA4-87B4-2F64222000F0}"}) {
        add(code);
        const auto result = track();
        EXPECT_EQ(result.size(), 1u);
        EXPECT_TRUE(result.back().starts_with("! ")) << toUtf8(code);
        machine.installer.removeProduct(code);
    }
}

}  // namespace
