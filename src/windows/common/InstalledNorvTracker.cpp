#include "windows/common/InstalledNorvTracker.h"

#include "windows/common/GroupTracker.h"
#include "windows/common/KnownProductCodeInstalledNorvTracker.h"
#include "windows/common/ZentraUpgradeCodeInstalledNorvTracker.h"

std::unique_ptr<InstalledNorvTracker> createInstalledNorvTracker() {
    return std::make_unique<GroupTracker<KnownProductCodeInstalledNorvTracker,
                                         ZentraUpgradeCodeInstalledNorvTracker>>();
}
