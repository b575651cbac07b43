// The command shims: one directory in the machine's `Path` that holds launchers named after the
// family's command-line tools. It is a junction, so that `Path` keeps one entry while the directory
// behind it is another after each change.
#pragma once

#include "windows/installerdll/NorvSetupManager.h"

class NorvPathManager : public NorvSetupManager::Callback {
public:
    /// Sets the shims up, leaves them alone or removes them, by what the installer's list holds
    /// now.
    void handle(const UpdateContext& context, const InstallConfigData& config,
                const InstalledNorv* changed) override;
};
