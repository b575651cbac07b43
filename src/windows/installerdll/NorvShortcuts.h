// The Start menu folders for all users, one for each type of product. A folder is for the latest
// product of its type and is rebuilt at each update.
#pragma once

#include "windows/installerdll/NorvSetupManager.h"

class NorvShortcutsManager : public NorvSetupManager::Callback {
public:
    void onNoQvr() override;
    void onNoQvk() override;

    /// Throws when a folder can't be found or created; a shortcut that can't be written is logged.
    void handle(const UpdateContext& context, const InstallConfigData& config,
                const InstalledNorv* changed) override;
};
