// Products of the legacy scheme and graphics products, whose product codes spell their versions.
#pragma once

#include <cstdint>

#include "windows/common/InstalledNorvTracker.h"

/// A family of product codes. In the pattern M, N, O and U are placeholders for digits of the
/// major, minor, micro and update number, X for any upper-case hexadecimal digit; every other
/// character is literal.
struct ProductCodeTemplate {
    const TCHAR* pattern;  ///< 38 characters, in registry form
    std::int32_t type;     ///< of a matching product
    std::int32_t bits;     ///< of a matching product
    // Numbers that the pattern doesn't spell: their fixed values, or -1.
    std::int32_t major;
    std::int32_t minor;
    std::int32_t micro;
    std::int32_t update;
};

class KnownProductCodeInstalledNorvTracker : public InstalledNorvTracker {
public:
    /// Returns the template that a product code matches, and the version that it spells; null for
    /// the code of another product.
    static const ProductCodeTemplate* match(const tstring& productCode, tstring& versionText);

    const TrackedProduct* next() override;

private:
    DWORD index_ = 0;
    TrackedProduct current_;
};
