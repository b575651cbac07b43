#include "windows/common/InstalledNorvSelection.h"

#include <algorithm>

#include "builders/Product.h"
#include "common/share/tstrings.h"
#include "support/OnMachine.h"
#include "windows/common/NorvEnvironment.h"

namespace {

using namespace family;
using namespace NorvEnvironment;
using Names = std::vector<std::string>;

/// Returns "QVR32 9"; "none" for null.
std::string nameOf(const InstalledNorv* product) {
    if (product == nullptr) {
        return "none";
    }
    return (product->type == Bundle::kQvr ? "QVR" : "QVK") + std::to_string(product->bits) + " " +
           tstrings::toUtf8(sourceText(product->version));
}

/// The products of the slots QVR 32, QVR 64, QVK 32, QVK 64.
Names namesOf(const InstalledNorvSelection& selection) {
    Names names;
    std::ranges::transform(selection, std::back_inserter(names), nameOf);
    return names;
}

class InstalledNorvSelectionTest : public OnMachine {
protected:
    InstalledNorvSelection select(const std::vector<Product>& products) {
        for (const Product& product : products) {
            family::install(machine, product);
        }
        detected = detect(kDetectQvr | kDetectQvk | kDetectNorvGfx | kDetect32Bit | kDetect64Bit);
        return makeSelection(detected);
    }
    std::vector<InstalledNorv> detected;
};

TEST_F(InstalledNorvSelectionTest, HoldsTheHighestVersionOfEachClass) {
    const auto selection = select({qvr("1.8.0_9-b1", 32), qvr("1.8.0_10-b1", 32), qvr("9"),
                                   qvk("11.0.10+9"), qvk("11.0.9+10"), graphics("2.2.0")});
    EXPECT_EQ(namesOf(selection),
              (Names{"QVR32 1.8.0_10-b1", "QVR64 9", "none", "QVK64 11.0.10+9"}));
}

TEST_F(InstalledNorvSelectionTest, HoldsTheFirstOfEqualVersions) {
    Product second = qvr("9");
    second.code = u"{99999999-2B0C-4B7E-9A55-006402000003}";
    second.setHome(u"C:\\second");
    const InstalledNorvSelection selection = select({qvr("9"), second});
    EXPECT_EQ(selection[1], &detected[0]);
}

TEST_F(InstalledNorvSelectionTest, KeepsTheHighestVersionOfAll) {
    const auto selection = select({qvr("9"), qvk("17", 32), qvk("17")});
    EXPECT_EQ(namesOf(keepLatest(selection)), (Names{"none", "none", "QVK32 17", "QVK64 17"}));
}

TEST_F(InstalledNorvSelectionTest, PrefersTypeToArchitectureAndBothToNothing) {
    auto selection = select({qvr("9", 32), qvk("9")});
    EXPECT_EQ(nameOf(pickPreferred(selection, Bundle::kQvr, 32)), "QVR32 9");
    EXPECT_EQ(nameOf(pickPreferred(selection, Bundle::kQvr, 64)), "QVR32 9");
    EXPECT_EQ(nameOf(pickPreferred(selection, Bundle::kQvk, 32)), "QVK64 9");
    selection = select({qvk("9", 32)});
    selection = selectByType(selection, Bundle::kQvk);
    EXPECT_EQ(nameOf(pickPreferred(selection, Bundle::kQvr, 32)), "QVK32 9");
    EXPECT_EQ(nameOf(pickPreferred(selection, Bundle::kQvr, 64)), "QVK64 9");
    selection = selectByArch(selection, 32);
    EXPECT_EQ(nameOf(pickPreferred(selection, Bundle::kQvr, 64)), "QVK32 9");
}

}  // namespace
