// The Assist Link, which gives assistive technology access to applications of the family: its
// registration with Windows and its libraries in the system directories.
#pragma once

#include "windows/installerdll/NorvSetupManager.h"

class AssistLinkManager : public NorvSetupManager::Callback {
public:
    /// Removes the existing registration and libraries and installs those of the selected product.
    /// A library in use is deleted or replaced at the next restart. Throws when a library can't be
    /// copied or the registration can't be written.
    void handle(const UpdateContext& context, const InstallConfigData& config,
                const InstalledNorv* changed) override;
};
