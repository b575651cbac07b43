// Products of the Zentra scheme: their product codes are arbitrary; their upgrade codes follow from
// type, architecture and first version number.
#pragma once

#include <memory>

#include "windows/common/InstalledNorvTracker.h"

/// Returns QVR and QVK of 32 bits and, on a 64-bit system, of 64 bits, without their versions.
class ZentraUpgradeCodeInstalledNorvTracker : public InstalledNorvTracker {
public:
    ZentraUpgradeCodeInstalledNorvTracker();
    const TrackedProduct* next() override;

private:
    std::unique_ptr<InstalledNorvTracker> group_;
};
