#include "windows/common/KnownProductCodeInstalledNorvTracker.h"

#include <gtest/gtest.h>

#include "common/share/tstrings.h"

namespace {

using tstrings::fromUtf8;
using tstrings::toUtf8;

template <class Product>
std::string kindOf(const Product& product) {
    const char* const types[] = {"QVR", "QVK", "GFX"};
    return types[product.type] + std::to_string(product.bits) + " ";
}

TEST(KnownProductCodeInstalledNorvTracker, SpellTypeArchitectureAndVersion) {
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
        {"{26A24AE4-039D-4CA4-87B4-2F64180451F0", "-"},
    };
    for (const auto& [code, expected] : cases) {
        tstring version;
        const auto* row = KnownProductCodeInstalledNorvTracker::match(fromUtf8(code), version);
        EXPECT_EQ(row == nullptr ? "-" : kindOf(*row) + toUtf8(version), expected) << code;
    }
}

}  // namespace
