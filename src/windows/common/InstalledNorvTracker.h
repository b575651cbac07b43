// Cursors over the installed products, before each is looked at closely.
#pragma once

#include <cstdint>
#include <memory>

#include "common/share/NorvVersion.h"
#include "common/share/tstring.h"

class ProductUninstaller;

/// What a tracker knows of a product.
struct TrackedProduct {
    static constexpr std::int32_t kUnknownType = -100;

    tstring productCode;                        ///< in registry form, with braces
    std::int32_t type = kUnknownType;           ///< as in Bundle, or kUnknownType
    std::uint32_t bits = 0;                     ///< 32, 64, or 0 for not known
    NorvVersionDetails::Base version;           ///< as far as known; what isn't is left out
    ProductUninstaller* uninstaller = nullptr;  ///< not owned; null means the default one
};

/// A forward-only cursor over installed products, used by one thread.
class InstalledNorvTracker {
public:
    virtual ~InstalledNorvTracker() = default;

    /// Moves to the next product: valid until the next call, null when no product is left. Throws
    /// if the installer's list can't be read, or a product code holds no valid version.
    virtual const TrackedProduct* next() = 0;
};

/// Every installed product once: those whose product codes spell their versions, then those that
/// are found by their upgrade codes.
std::unique_ptr<InstalledNorvTracker> createInstalledNorvTracker();
