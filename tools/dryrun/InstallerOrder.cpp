#include "dryrun/InstallerOrder.h"

#include <algorithm>
#include <regex>
#include <utility>
#include <vector>

#include "simulated/machine/Wide.h"

namespace {

/// A product code as the installer's own keys have it: the first three groups reversed, and the two
/// digits of each byte of the others swapped.
std::u16string packedCode(const std::u16string& code) {
    constexpr std::pair<std::size_t, std::size_t> kReversed[] = {{1, 8}, {10, 4}, {15, 4}};
    std::u16string packed;
    for (const auto& [begin, length] : kReversed) {
        const std::u16string group = code.substr(begin, length);
        packed.append(group.rbegin(), group.rend());
    }
    for (const std::size_t at : {20, 22, 25, 27, 29, 31, 33, 35}) {
        packed += {code[at + 1], code[at]};
    }
    return packed;
}

bool isBefore(const simulated::Product* a, const simulated::Product* b) {
    return packedCode(a->code) < packedCode(b->code);
}

/// Whether the product's installer may provide shims, judged by its upgrade code: a 64-bit
/// development kit of 11, or of 15 and later.
bool mayBeShimAware(const std::string& upgradeCode) {
    static const std::regex form("\\{64A3A4F4-B792-11D6-A78A-00B0D02(\\d{4})0\\}");
    std::smatch match;
    if (!std::regex_match(upgradeCode, match, form)) {
        return false;
    }
    const int number = std::stoi(match[1]);
    return number == 11 || number >= 15;
}

}  // namespace

void placeAddedProducts(simulated::Installer& installer, std::size_t before) {
    const simulated::ProductList& list = installer.products();
    if (list.size() == before ||
        !std::is_sorted(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(before),
                        isBefore)) {
        return;
    }
    std::vector<const simulated::Product*> sorted(list.begin(), list.end());
    std::stable_sort(sorted.begin(), sorted.end(), isBefore);
    std::vector<simulated::Product> products;
    products.reserve(sorted.size());
    for (const simulated::Product* product : sorted) {
        products.push_back(*product);
    }
    for (const simulated::Product& product : products) {
        installer.removeProduct(product.code);
    }
    for (simulated::Product& product : products) {
        installer.addProduct(std::move(product));
    }
}

void noteOrder(const simulated::Installer& installer, Json& notes) {
    std::map<std::string, std::string> lastOfCode;
    for (const simulated::Product* product : installer.products()) {
        const std::string upgradeCode = simulated::toUtf8(product->upgradeCode);
        if (!mayBeShimAware(upgradeCode)) {
            continue;
        }
        const std::string code = simulated::toUtf8(product->code);
        const auto [earlier, isFirst] = lastOfCode.try_emplace(upgradeCode, code);
        if (!isFirst) {
            notes.push_back("The installer lists " + earlier->second + " before " + code +
                            ", and the later one decides about the command shims. A real installer "
                            "may list them in another order.");
            earlier->second = code;
        }
    }
}
