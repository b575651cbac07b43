// Registry data that no single product owns: family keys and "CurrentVersion" below
// `Software\Halvorex`, file associations, host registration, leftovers of removed products.
#pragma once

#include "windows/installerdll/NorvSetupManager.h"

class RegistryManager : public NorvSetupManager::Callback {
public:
    /// Also removes the launchers from the list of host applications.
    void onNoProduct() override;

    /// Throws when a family key can't be brought into line; any other failure is logged.
    void handle(const UpdateContext& context, const InstallConfigData& config,
                const InstalledNorv* changed) override;
};
