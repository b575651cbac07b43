// The command shims: one directory in the machine's `Path` with launchers named after the family's
// command-line tools. The directory is a junction, so that the entry in `Path` stays the same while
// each change points it to another target directory.
#pragma once

#include "windows/installerdll/NorvSetupManager.h"

class NorvPathManager : public NorvSetupManager::Callback {
public:
    /// Installs the shims, leaves them alone or removes them, depending on the products in the
    /// installer's list.
    void handle(const UpdateContext& context, const InstallConfigData& config,
                const InstalledNorv* changed) override;
};
