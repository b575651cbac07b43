// Brings the machine's shared state into line with the installed products: determines the future
// list of products and passes it to the managers, each of which owns one part of the state.
#pragma once

#include <vector>

#include "windows/common/InstallConfigData.h"
#include "windows/common/NorvEnvironment.h"
#include "windows/installerdll/UpdateContext.h"

class NorvSetupManager {
public:
    class Callback;

    /// No change, and an empty product of this process's architecture.
    NorvSetupManager();

    InstalledNorv product;  ///< the changed product
    UpdateAction action = UpdateAction::None;

    /// Runs every manager. `products` is the result of detection. The failure of a manager is only
    /// logged; changes that it made remain. Returns false if the update itself failed, which is
    /// logged too: no manager has run then, since the list can't be right.
    bool update(const InstallConfigData& config, const std::vector<InstalledNorv>& products) const;
};

/// A manager of one part of the machine's shared state. Every operation reports a failure as an
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

    /// Returns whether a failure ends the whole update instead of this manager's part.
    virtual bool propagatesFailures() const { return false; }

    /// The main work; called for every update, also if the change doesn't concern the manager.
    /// `changed` is null if nothing changes.
    virtual void handle(const UpdateContext& context, const InstallConfigData& config,
                        const InstalledNorv* changed) = 0;
};
