// The registry that no single product owns: family keys and "CurrentVersion" below
// `Software\Halvorex`, file associations, host registration, leftovers of products that are gone.
#pragma once

#include "windows/installerdll/NorvSetupManager.h"

class RegistryManager : public NorvSetupManager::Callback {
public:
    /// Also takes the launchers out of the list of host applications.
    void onNoProduct() override;

    /// Throws when a family key can't be brought into line; everything else that fails is logged.
    void handle(const UpdateContext& context, const InstallConfigData& config,
                const InstalledNorv* changed) override;
};
