#include "windows/installerdll/NorvSetupManager.h"

#include <memory>

#include "common/share/LogException.h"
#include "windows/common/SysInfo.h"
#include "windows/installerdll/AssistLink.h"
#include "windows/installerdll/NorvPath.h"
#include "windows/installerdll/NorvShortcuts.h"
#include "windows/installerdll/RegistryUtils.h"

namespace {

using Callback = NorvSetupManager::Callback;

/// Calls a manager and logs its failure, so that the others run, unless the manager propagates
/// failures.
template <class Call>
void guarded(const Callback& manager, const SourceLocation& where, const Call& call) {
    if (manager.propagatesFailures()) {
        call();
        return;
    }
    runLogged(where, call);
}

struct handleProduct {
    const UpdateContext& context;
    const InstallConfigData& config;
    const InstalledNorv* changed;

    void operator()(Callback& manager) const {
        guarded(manager, "`anonymous-namespace'::handleProduct::operator ()",
                [&] { manager.handle(context, config, changed); });
    }
};

struct handleNoProduct {
    void (Callback::*notification)();

    void operator()(Callback& manager) const {
        guarded(manager, "`anonymous-namespace'::handleNoProduct::operator ()",
                [&] { (manager.*notification)(); });
    }
};

/// Calls all managers in turn.
class AllCallbacks : public Callback {
public:
    AllCallbacks() {
        managers_.push_back(std::make_unique<RegistryManager>());
        managers_.push_back(std::make_unique<NorvShortcutsManager>());
        managers_.push_back(std::make_unique<AssistLinkManager>());
        managers_.push_back(std::make_unique<NorvPathManager>());
    }

    void onNoQvr() override { forEach(handleNoProduct{&Callback::onNoQvr}); }
    void onNoQvk() override { forEach(handleNoProduct{&Callback::onNoQvk}); }
    void onNoProduct() override { forEach(handleNoProduct{&Callback::onNoProduct}); }

    void handle(const UpdateContext& context, const InstallConfigData& config,
                const InstalledNorv* changed) override {
        forEach(handleProduct{context, config, changed});
    }

private:
    template <class Call>
    void forEach(const Call& call) {
        for (const auto& manager : managers_) {
            call(*manager);
        }
    }

    std::vector<std::unique_ptr<Callback>> managers_;
};

bool hasType(const InstalledNorvSelection& selection, std::int32_t type) {
    using namespace NorvEnvironment;
    return pickPreferred(selectByType(selection, type), type, 32) != nullptr;
}

/// Notifies the managers, at most once, of the types of which no product remains.
void notifyOfMissingTypes(Callback& managers, const InstalledNorvSelection& selection) {
    const bool hasQvr = hasType(selection, Bundle::kQvr);
    const bool hasQvk = hasType(selection, Bundle::kQvk);
    if (!hasQvr && !hasQvk) {
        managers.onNoProduct();
    } else if (!hasQvr) {
        managers.onNoQvr();
    } else if (!hasQvk) {
        managers.onNoQvk();
    }
}

}  // namespace

NorvSetupManager::NorvSetupManager() {
    product.bits = SysInfo::runningBits();
}

bool NorvSetupManager::update(const InstallConfigData& config,
                              const std::vector<InstalledNorv>& products) const {
    return runLogged("NorvSetupManager::update", false, [&] {
        const UpdatePlan plan(products, product, action);
        AllCallbacks managers;
        managers.handle(plan.context(), config, action != UpdateAction::None ? &product : nullptr);
        notifyOfMissingTypes(managers, plan.context().selection);
        return true;
    });
}
