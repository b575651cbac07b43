#include "simulated/machine/installer/ProductList.h"

#include <msi.h>

#include <utility>

#include "simulated/machine/Wide.h"

namespace simulated {

namespace {

using Index = NameMap<std::vector<const Product*>>;

/// The path that the installer gives the n-th cached package.
std::u16string cachedPackagePath(std::size_t n) {
    const std::u16string digits = fromUtf8(std::to_string(1000 + n));
    return u"C:\\Windows\\Installer\\1a2b" + digits + u".msi";
}

const std::u16string& packagePath(const Product& product) {
    return product.properties.at(INSTALLPROPERTY_LOCALPACKAGE);
}

void removeFrom(Index& index, const std::u16string& key, const Product& product) {
    const auto found = index.find(key);
    if (found == index.end()) {
        return;
    }
    std::erase(found->second, &product);
    if (found->second.empty()) {
        index.erase(found);
    }
}

}  // namespace

Product& ProductList::add(Product product) {
    product.properties.try_emplace(INSTALLPROPERTY_LOCALPACKAGE, cachedPackagePath(addedProducts_));
    ++addedProducts_;
    const std::u16string code = product.code;
    Product& added = byCode_.emplace(code, std::move(product))->second;
    inOrder_.push_back(&added);
    byUpgradeCode_[added.upgradeCode].push_back(&added);
    byPackagePath_[packagePath(added)].push_back(&added);
    return added;
}

void ProductList::forget(const Product& product) {
    std::erase(inOrder_, &product);
    removeFrom(byUpgradeCode_, product.upgradeCode, product);
    removeFrom(byPackagePath_, packagePath(product), product);
}

bool ProductList::remove(std::u16string_view code) {
    const auto [first, end] = byCode_.equal_range(code);
    if (first == end) {
        return false;
    }
    for (auto product = first; product != end; ++product) {
        forget(product->second);
    }
    byCode_.erase(first, end);
    return true;
}

Product* ProductList::find(std::u16string_view code) {
    const auto found = byCode_.lower_bound(code);
    return found != byCode_.end() && sameText(found->first, code) ? &found->second : nullptr;
}

const Package* ProductList::packageAt(std::u16string_view path) const {
    const auto found = path.empty() ? byPackagePath_.end() : byPackagePath_.find(path);
    return found == byPackagePath_.end() ? nullptr : &found->second.front()->package;
}

const std::vector<const Product*>& ProductList::related(std::u16string_view upgradeCode) const {
    static const std::vector<const Product*> none;
    const auto found = byUpgradeCode_.find(upgradeCode);
    return found == byUpgradeCode_.end() ? none : found->second;
}

}  // namespace simulated
