// The installed products of a machine.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "simulated/machine/Names.h"
#include "simulated/machine/installer/Package.h"

namespace simulated {

/// An installed product.
struct Product {
    std::u16string code;  ///< in registry form, with braces
    /// The attributes that MsiGetProductInfoW returns; one that the installer knows and that isn't
    /// here reads as empty. Without "LocalPackage" the installer chooses the path of the cached
    /// package.
    std::map<std::u16string, std::u16string> properties = {};
    std::u16string upgradeCode = {};  ///< empty: the product has none
    Package package = {};             ///< the cached package
};

/// The products in the order in which they were added. Each look-up takes logarithmic time.
///
/// Codes and paths are compared without case. The code, the upgrade code and the path of the cached
/// package must not change while a product is in the list.
class ProductList {
public:
    ProductList() = default;
    ProductList(const ProductList&) = delete;
    ProductList& operator=(const ProductList&) = delete;

    /// Adds a product, and chooses the path of its cached package if it has none. The reference is
    /// valid until the product is removed.
    Product& add(Product product);

    /// Removes every product with this code; returns false if there is none.
    bool remove(std::u16string_view code);

    /// Returns the first product with this code, or null.
    Product* find(std::u16string_view code);

    /// Returns the cached package at this path, or null.
    const Package* packageAt(std::u16string_view path) const;

    /// Returns the products with this upgrade code, in order.
    const std::vector<const Product*>& related(std::u16string_view upgradeCode) const;

    std::size_t size() const { return inOrder_.size(); }
    const Product& operator[](std::size_t index) const { return *inOrder_[index]; }
    auto begin() const { return inOrder_.begin(); }
    auto end() const { return inOrder_.end(); }

private:
    using Products = std::vector<const Product*>;

    void forget(const Product& product);

    std::multimap<std::u16string, Product, NameLess> byCode_;
    Products inOrder_;
    NameMap<Products> byUpgradeCode_;
    NameMap<Products> byPackagePath_;
    std::size_t addedProducts_ = 0;
};

}  // namespace simulated
