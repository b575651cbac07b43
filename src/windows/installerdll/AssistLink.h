// The Assist Link, which gives assistive technology access to applications of the family: its
// registration with Windows and its libraries in the system directories.
#pragma once

#include "windows/installerdll/NorvSetupManager.h"

class AssistLinkManager : public NorvSetupManager::Callback {
public:
    /// Removes what is there and sets it up again for the product that is to serve. A library that
    /// is in use is deleted or replaced at the next restart. Throws when a library can't be put in
    /// place, or the registration not written.
    void handle(const UpdateContext& context, const InstallConfigData& config,
                const InstalledNorv* changed) override;
};
