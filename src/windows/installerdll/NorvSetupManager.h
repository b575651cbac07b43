// Brings the machine's shared state into line with the installed products: works out the list of
// products as it will be and hands it to the managers, each of which owns one slice of the state.
#pragma once

#include <vector>

#include "windows/common/InstallConfigData.h"
#include "windows/common/NorvEnvironment.h"
#include "windows/installerdll/UpdateContext.h"

class NorvSetupManager {
public:
    class Callback;

    /// No change, and an empty product of the running code's architecture.
    NorvSetupManager();

    InstalledNorv product;  ///< the changed product
    UpdateAction action = UpdateAction::None;

    /// Runs every manager. `products` is what detection found. A manager that fails is a log record
    /// and no more; what it changed stays. False when the update itself failed, which is logged
    /// too: then, with a list that can't be right, no manager has run.
    bool update(const InstallConfigData& config, const std::vector<InstalledNorv>& products) const;
};

/// A manager of one slice of the machine's shared state. Every operation reports a failure as an
/// exception.
class NorvSetupManager::Callback {
public:
    virtual ~Callback() = default;

    /// No product of type QVR remains.
    virtual void onNoQvr() {}
    /// No product of type QVK remains.
    virtual void onNoQvk() {}
    /// No product of either type remains.
    virtual void onNoProduct() {
        onNoQvr();
        onNoQvk();
    }

    /// Whether a failure ends the whole update instead of this manager's part in it.
    virtual bool propagatesFailures() const { return false; }

    /// The main work; it runs for every update, also when the change doesn't concern the manager.
    /// `changed` is null when nothing changes.
    virtual void handle(const UpdateContext& context, const InstallConfigData& config,
                        const InstalledNorv* changed) = 0;
};
