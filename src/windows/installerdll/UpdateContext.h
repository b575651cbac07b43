// The products of the machine after the operation: the input of every manager.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "windows/common/NorvEnvironment.h"

/// What happens to the changed product.
enum class UpdateAction : std::int32_t { None = 0, Install = 1, Remove = 2 };

/// Read-only for the managers, and valid only during their calls.
struct UpdateContext {
    std::span<const InstalledNorv> all;  ///< QVR and QVK; other types are left out
    std::span<const InstalledNorv> qvr32;
    std::span<const InstalledNorv> qvr64;
    std::span<const InstalledNorv> qvk32;
    std::span<const InstalledNorv> qvk64;
    InstalledNorvSelection selection = {};  ///< the latest product of each class
    UpdateAction action = UpdateAction::None;
    bool latestChanged = false;  ///< which product is the latest QVR changes; no manager reads it
};

/// Owns the list of a context.
class UpdatePlan {
public:
    /// `detected` are the products that the installer lists now; `product` is the one that `action`
    /// concerns, identified by its product code only. Throws std::invalid_argument when a list has
    /// an empty product code, or the same one twice.
    UpdatePlan(std::span<const InstalledNorv> detected, const InstalledNorv& product,
               UpdateAction action);
    UpdatePlan(const UpdatePlan&) = delete;
    UpdatePlan& operator=(const UpdatePlan&) = delete;

    const UpdateContext& context() const { return context_; }

private:
    std::vector<InstalledNorv> products_;
    UpdateContext context_;
};
