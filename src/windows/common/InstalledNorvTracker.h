// Cursors over the installed products, before detection completes each of them.
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
    std::uint32_t bits = 0;                     ///< 32, 64, or 0 if unknown
    NorvVersionDetails::Base version;           ///< unknown components are left out
    ProductUninstaller* uninstaller = nullptr;  ///< not owned; null means the default one
};

/// A forward-only cursor over installed products, used by one thread.
class InstalledNorvTracker {
public:
    virtual ~InstalledNorvTracker() = default;

    /// Moves to the next product and returns it: valid until the next call, null after the last
    /// one. Throws if the installer's list can't be read or a product code doesn't spell a valid
    /// version.
    virtual const TrackedProduct* next() = 0;
};

/// Returns every installed product once: those whose product codes spell their versions, then those
/// found by their upgrade codes.
std::unique_ptr<InstalledNorvTracker> createInstalledNorvTracker();
