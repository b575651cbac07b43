#include "windows/installerdll/UpdateContext.h"

#include <algorithm>
#include <utility>

namespace {

/// Checks a list of the machine's products: any product, but each only once.
void verify(InstalledNorvRange products) {
    NorvEnvironment::InstalledNorvsVerifier verifier;
    verifier.checkHomeDirs = false;
    verifier(products);
}

std::vector<InstalledNorv> withProduct(InstalledNorvRange products, const InstalledNorv& product) {
    std::vector<InstalledNorv> result(products.begin(), products.end());
    const bool isListed = std::ranges::any_of(result, [&](const InstalledNorv& listed) {
        return listed.productCode == product.productCode;
    });
    if (!isListed) {
        result.push_back(product);
    }
    return result;
}

std::vector<InstalledNorv> withoutProduct(InstalledNorvRange products,
                                          const InstalledNorv& product) {
    std::vector<InstalledNorv> result(products.begin(), products.end());
    std::erase_if(result, [&](const InstalledNorv& listed) {
        return listed.productCode == product.productCode;
    });
    return result;
}

std::vector<InstalledNorv> apply(UpdateAction action, InstalledNorvRange products,
                                 const InstalledNorv& product) {
    switch (action) {
        case UpdateAction::Install:
            return withProduct(products, product);
        case UpdateAction::Remove:
            return withoutProduct(products, product);
        default:
            return {products.begin(), products.end()};
    }
}

UpdateAction opposite(UpdateAction action) {
    return action == UpdateAction::Install ? UpdateAction::Remove : UpdateAction::Install;
}

bool isOfClass(const InstalledNorv& product, std::int32_t type, std::uint32_t bits) {
    return product.type == type && product.bits == bits;
}

/// Returns the products that the managers use, ordered by class, so that each class is one range.
std::vector<InstalledNorv> inClassOrder(const std::vector<InstalledNorv>& products) {
    std::vector<InstalledNorv> ordered;
    for (const std::int32_t type : {Bundle::kQvr, Bundle::kQvk}) {
        for (const std::uint32_t bits : {32u, 64u}) {
            for (const InstalledNorv& product : products) {
                if (isOfClass(product, type, bits)) {
                    ordered.push_back(product);
                }
            }
        }
    }
    return ordered;
}

InstalledNorvRange classRange(InstalledNorvRange ordered, std::int32_t type, std::uint32_t bits) {
    const auto matches = [=](const InstalledNorv& product) {
        return isOfClass(product, type, bits);
    };
    const auto first = std::find_if(ordered.begin(), ordered.end(), matches);
    return {first, std::find_if_not(first, ordered.end(), matches)};
}

/// Returns the code of the latest QVR; all zero if there is none.
Guid latestQvr(const InstalledNorvSelection& selection) {
    using namespace NorvEnvironment;
    const InstalledNorv* latest = latestOfType(selection, Bundle::kQvr);
    return latest != nullptr ? latest->productCode : Guid();
}

/// Compares the latest QVR with that of the list without the change.
bool changesLatestQvr(const InstalledNorvSelection& selection, InstalledNorvRange detected,
                      const InstalledNorv& product, UpdateAction action) {
    const std::vector<InstalledNorv> before = apply(opposite(action), detected, product);
    verify(before);
    return !(latestQvr(selection) == latestQvr(NorvEnvironment::makeSelection(before)));
}

}  // namespace

UpdatePlan::UpdatePlan(InstalledNorvRange detected, const InstalledNorv& product,
                       UpdateAction action) {
    verify(detected);
    products_ = apply(action, detected, product);
    verify(products_);

    products_ = inClassOrder(products_);
    context_.all = products_;
    context_.qvr32 = classRange(products_, Bundle::kQvr, 32);
    context_.qvr64 = classRange(products_, Bundle::kQvr, 64);
    context_.qvk32 = classRange(products_, Bundle::kQvk, 32);
    context_.qvk64 = classRange(products_, Bundle::kQvk, 64);
    context_.selection = NorvEnvironment::makeSelection(products_);

    context_.action = action;
    if (action != UpdateAction::None) {
        context_.latestChanged = changesLatestQvr(context_.selection, detected, product, action);
    }
}
