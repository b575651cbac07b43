// The record of one installed product.
#pragma once

#include <cstdint>
#include <span>

#include "common/share/tstring.h"
#include "windows/common/Bundle.h"
#include "windows/common/Guid.h"

class ProductUninstaller;

struct InstalledNorv : Bundle {
    static constexpr std::int32_t kModeNotDetected = -10;  ///< for every type other than QVR
    static constexpr std::int32_t kModeStandard = 10;
    static constexpr std::int32_t kModeStatic = 20;

    InstalledNorv() = default;
    explicit InstalledNorv(const Bundle& bundle) : Bundle(bundle) {}

    std::int32_t mode = kModeNotDetected;
    Guid productCode;
    tstring homeDir;                            ///< no trailing separator; may be empty
    ProductUninstaller* uninstaller = nullptr;  ///< not owned; never null after a detection
};

using InstalledNorvRange = std::span<const InstalledNorv>;
