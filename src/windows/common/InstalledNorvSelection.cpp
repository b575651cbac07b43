#include "windows/common/InstalledNorvSelection.h"

#include <algorithm>
#include <stdexcept>

#include "common/share/PmtError.h"

namespace NorvEnvironment {

namespace {

struct SlotClass {
    std::int32_t type;
    std::uint32_t bits;
};

/// The classes in the order of the slots.
constexpr SlotClass kClasses[] = {
    {Bundle::kQvr, 32},
    {Bundle::kQvr, 64},
    {Bundle::kQvk, 32},
    {Bundle::kQvk, 64},
};

std::size_t itemIndex(std::int32_t type, std::uint32_t bits) {
    const auto found =
        std::find_if(std::begin(kClasses), std::end(kClasses),
                     [&](const SlotClass& slot) { return slot.type == type && slot.bits == bits; });
    if (found == std::end(kClasses)) {
        raise<std::invalid_argument>("NorvEnvironment::`anonymous-namespace'::itemIndex",
                                     "Unexpected 'tag'");
    }
    return static_cast<std::size_t>(found - std::begin(kClasses));
}

/// Returns the slots for which the predicate is true.
template <class Predicate>
InstalledNorvSelection filter(const InstalledNorvSelection& selection, Predicate wants) {
    InstalledNorvSelection result = selection;
    for (std::size_t slot = 0; slot < result.size(); ++slot) {
        if (!wants(slot)) {
            result[slot] = nullptr;
        }
    }
    return result;
}

/// Returns the version of a slot; all zero for an empty one.
NorvVersionDetails::Base versionOf(const InstalledNorv* product) {
    return product != nullptr ? product->version : NorvVersionDetails::Base();
}

}  // namespace

std::size_t selectionIndex(std::int32_t type, std::uint32_t bits) {
    return itemIndex(type, bits);
}

InstalledNorvSelection makeSelection(InstalledNorvRange products) {
    InstalledNorvSelection selection{};
    for (std::size_t slot = 0; slot < selection.size(); ++slot) {
        const InstalledNorv*& latest = selection[slot];
        for (const InstalledNorv& product : products) {
            const bool belongs =
                product.type == kClasses[slot].type && product.bits == kClasses[slot].bits;
            if (belongs && (latest == nullptr || latest->version < product.version)) {
                latest = &product;
            }
        }
    }
    return selection;
}

InstalledNorvSelection selectByType(const InstalledNorvSelection& selection, std::int32_t type) {
    return filter(selection, [&](std::size_t slot) { return kClasses[slot].type == type; });
}

InstalledNorvSelection selectByArch(const InstalledNorvSelection& selection, std::uint32_t bits) {
    return filter(selection, [&](std::size_t slot) { return kClasses[slot].bits == bits; });
}

InstalledNorvSelection keepLatest(const InstalledNorvSelection& selection) {
    NorvVersionDetails::Base latest = versionOf(selection[0]);
    for (const InstalledNorv* product : selection) {
        latest = std::max(latest, versionOf(product));
    }
    return filter(selection,
                  [&](std::size_t slot) { return versionOf(selection[slot]) == latest; });
}

const InstalledNorv* pickPreferred(const InstalledNorvSelection& selection, std::int32_t type,
                                   std::uint32_t bits) {
    const std::int32_t otherType = type == Bundle::kQvr ? Bundle::kQvk : Bundle::kQvr;
    const std::uint32_t otherBits = bits == 32 ? 64 : 32;
    for (const SlotClass& wanted : {SlotClass{type, bits}, SlotClass{type, otherBits},
                                    SlotClass{otherType, bits}, SlotClass{otherType, otherBits}}) {
        const InstalledNorv* product = selection[itemIndex(wanted.type, wanted.bits)];
        if (product != nullptr) {
            return product;
        }
    }
    return nullptr;
}

const InstalledNorv* latestOfType(const InstalledNorvSelection& selection, std::int32_t type) {
    return pickPreferred(keepLatest(selectByType(selection, type)), type, 64);
}

}  // namespace NorvEnvironment
