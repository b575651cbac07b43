#include "windows/installerdll/RegistryUtils.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <vector>

#include "common/share/LogException.h"
#include "common/share/Logger.h"
#include "common/share/tstrings.h"
#include "windows/common/FileUtils.h"
#include "windows/common/Registry.h"
#include "windows/common/SysInfo.h"
#include "windows/installerdll/FileAssociation.h"

namespace {

using NorvEnvironment::keepLatest;
using NorvEnvironment::latestOfType;
using NorvEnvironment::pickPreferred;
using NorvEnvironment::selectByArch;
using NorvEnvironment::selectByType;
using NorvVersionDetails::family;
using NorvVersionDetails::withoutBuild;
using Version = NorvVersionDetails::Base;
using Products = std::vector<InstalledNorv>;

constexpr const TCHAR* kVendorKey = _T("Software\\Halvorex");
constexpr const TCHAR* kUpdaterKey = _T("Software\\Halvorex\\Norv Update");
constexpr const TCHAR* kGraphicsKey = _T("Software\\Halvorex\\Norv2D");
constexpr const TCHAR* kPreferences = _T("Prefs");
constexpr const TCHAR* kCurrentVersion = _T("CurrentVersion");
constexpr const TCHAR* kNorvHome = _T("NorvHome");

/// The values that a family subkey copies from the version key of its best product.
constexpr const TCHAR* kFamilyValues[] = {_T("RuntimeLib"), kNorvHome, _T("MicroVersion")};

/// The launchers of the family, in the order in which they are registered as hosts.
constexpr const TCHAR* kHostExecutables[] = {_T("norv.exe"), _T("norvw.exe")};

// ---- Bundles and keys ----

bool isZentra(const Bundle& bundle) {
    return bundle.version.tag() == NorvVersionDetails::kZentraTag;
}

/// Represent any product of a class and scheme: they select a key path and are not compared with
/// products.
Bundle legacyTemplate(std::int32_t type, std::uint32_t bits) {
    return Bundle(type, Version(_T("1.8.0")), bits);
}
Bundle zentraTemplate(std::int32_t type, std::uint32_t bits) {
    return Bundle(type, Version(_T("9")), bits);
}

/// Returns the name of the product's version key.
tstring versionName(const InstalledNorv& product) {
    return NorvVersionDetails::toString(withoutBuild(product.version));
}

Products productsOfType(InstalledNorvRange products, std::int32_t type) {
    Products result;
    std::ranges::copy_if(products, std::back_inserter(result),
                         [=](const InstalledNorv& product) { return product.type == type; });
    return result;
}

/// Deletes the subkeys that are not the version key of a product, except those with subkeys of
/// their own.
void removeObsoleteKeys(const Registry& key, InstalledNorvRange products) {
    std::set<tstring> wanted;
    std::ranges::transform(products, std::inserter(wanted, wanted.end()), versionName);
    for (const tstring& name : key.getSubkeyNames()) {
        if (!wanted.contains(name)) {
            key.deleteSubkey(name);
        }
    }
}

// ---- Version keys ----

void removeTrailingSlashFromNorvHomeKey(const InstalledNorv& product) {
    runLogged("`anonymous-namespace'::removeTrailingSlashFromNorvHomeKey", [&] {
        const Registry key(getRootKey(product), getVersionKeyPath(product), Registry::Mode::Write);
        key.setString(kNorvHome, FileUtils::removeTrailingSlash(key.getString(kNorvHome)));
    });
}

/// Copies a string value with its type, if the source has it.
struct CopyRegistryStringValue {
    const Registry& source;
    const Registry& target;

    void operator()(const TCHAR* name) const {
        runLogged("`anonymous-namespace'::CopyRegistryStringValue::operator ()", [&] {
            DWORD type = REG_NONE;
            if (!source.hasValue(name, &type)) {
                return;
            }
            if (type == REG_SZ) {
                target.setString(name, source.getString(name));
            } else if (type == REG_EXPAND_SZ) {
                target.setExpandString(name, source.getString(name));
            }
        });
    }
};

/// Copies the values of a legacy product to its family subkey.
void updateCurrentFamilyVersion(const InstalledNorv& product) {
    TRACE_SCOPE("`anonymous-namespace'::updateCurrentFamilyVersion", "updateCurrentFamilyVersion");
    runLogged("`anonymous-namespace'::updateCurrentFamilyVersion", [&] {
        if (isZentra(product)) {
            return;
        }
        const Registry& root = getRootKey(product);
        const Registry target(root, getFamilySubkeyPath(product), Registry::Mode::Write);
        const Registry source(root, getVersionKeyPath(product), Registry::Mode::Read);
        std::ranges::for_each(kFamilyValues, CopyRegistryStringValue{source, target});
    });
}

// ---- Family keys ----

/// Throws for products that don't belong below the template's family key.
void verifyGroup(const Products& products, const Bundle& bundleTemplate,
                 const InstalledNorv* current) {
    constexpr const char* kFunction = "`anonymous-namespace'::synchRegistry";

    NorvEnvironment::InstalledNorvsVerifier verifier;
    verifier.checkHomeDirs = false;
    verifier.allowedTypes = {bundleTemplate.type};
    verifier.allowedBits = {bundleTemplate.bits};
    verifier(products);

    for (const InstalledNorv& product : products) {
        if (isZentra(product) != isZentra(bundleTemplate)) {
            raise<std::invalid_argument>(kFunction,
                                         "Unexpected items in 'instaledNorvs' parameter");
        }
    }
    if (current == nullptr) {
        return;
    }
    if (current->type != bundleTemplate.type || current->bits != bundleTemplate.bits) {
        raise<std::invalid_argument>(kFunction, "Unexpected type of 'current' parameter");
    }
    const bool isListed = std::ranges::any_of(products, [=](const InstalledNorv& product) {
        return product.productCode == current->productCode;
    });
    if (!isListed) {
        raise<std::invalid_argument>(kFunction, "Unexpected value of 'current' parameter");
    }
}

using Families = std::map<Version, const InstalledNorv*>;

/// Returns the highest version of each family; of equal ones the first.
Families bestOfFamilies(const Products& products) {
    Families families;
    for (const InstalledNorv& product : products) {
        const InstalledNorv*& best = families[family(product.version)];
        if (best == nullptr || product.version > best->version) {
            best = &product;
        }
    }
    return families;
}

/// Returns the text of "CurrentVersion" for a product.
tstring currentVersionText(const InstalledNorv& product) {
    return NorvVersionDetails::toString(isZentra(product) ? withoutBuild(product.version)
                                                          : family(product.version));
}

/// Brings one family key into line with its products. Without `current`, the highest family becomes
/// current.
void synchRegistry(const Products& products, const Bundle& bundleTemplate,
                   const InstalledNorv* current) {
    verifyGroup(products, bundleTemplate, current);

    const Registry& root = getRootKey(bundleTemplate);
    const tstring familyKeyPath = getFamilyKeyPath(bundleTemplate);
    if (products.empty()) {
        root.tryDeleteKeyTree(familyKeyPath);
        return;
    }
    if (root.hasSubkey(familyKeyPath)) {
        removeObsoleteKeys(Registry(root, familyKeyPath, Registry::Mode::Write), products);
    }

    const Families families = bestOfFamilies(products);
    for (const auto& [familyVersion, best] : families) {
        updateCurrentFamilyVersion(*best);
    }
    if (current == nullptr) {
        current = families.rbegin()->second;
    }
    getRootKey(*current).setString(FileUtils::combinePath(familyKeyPath, kCurrentVersion),
                                   currentVersionText(*current));
}

/// Brings both family keys of a class into line; the selected product is the current one of its
/// scheme.
void synchFamily(InstalledNorvRange products, const InstalledNorvSelection& selection,
                 std::int32_t type, std::uint32_t bits) {
    Products legacy;
    Products zentra;
    std::ranges::partition_copy(products, std::back_inserter(zentra), std::back_inserter(legacy),
                                isZentra);

    const InstalledNorv* current =
        pickPreferred(selectByArch(selectByType(selection, type), bits), type, bits);
    const bool isCurrentZentra = current != nullptr && isZentra(*current);
    synchRegistry(legacy, legacyTemplate(type, bits), isCurrentZentra ? nullptr : current);
    synchRegistry(zentra, zentraTemplate(type, bits), isCurrentZentra ? current : nullptr);
}

// ---- Leftovers ----

/// Cleans a user's own keys of the family, below one subkey of a view of the user's registry.
void cleanUpForUser(const Registry& key, const UpdateContext& context) {
    const Products qvrs = productsOfType(context.all, Bundle::kQvr);
    if (context.all.empty()) {
        key.tryDeleteKeyTree(kVendorKey);
    }

    const tstring legacyQvrKey =
        getFamilyKeyPath(legacyTemplate(Bundle::kQvr, SysInfo::runningBits()));
    if (key.hasSubkey(legacyQvrKey)) {
        if (qvrs.empty()) {
            key.tryDeleteKeyTree(legacyQvrKey);
        } else {
            removeObsoleteKeys(Registry(key, legacyQvrKey, Registry::Mode::Write), qvrs);
        }
    }
    if (qvrs.empty()) {
        key.tryDeleteKeyTree(kUpdaterKey);
    }
    if (key.hasSubkey(kGraphicsKey)) {
        removeObsoleteKeys(Registry(key, kGraphicsKey, Registry::Mode::Write), context.all);
    }
}

void cleanUpForAllUsers(const Registry& root, const UpdateContext& context) {
    runLogged("`anonymous-namespace'::cleanUpForAllUsers", [&] {
        for (const tstring& name : root.getSubkeyNames()) {
            cleanUpForUser(Registry(root, name, Registry::Mode::Write), context);
        }
    });
}

bool isPreferences(const tstring& subkey) {
    return tstrings::equals(subkey, kPreferences, tstrings::CompareType::IgnoreCase);
}

/// Deletes the vendor's key of an architecture without products, except for the user's preferences.
void cleanArchKeys(std::uint32_t bits) {
    runLogged("`anonymous-namespace'::cleanArchKeys", [&] {
        const Registry& root = getRootKey(Bundle(Bundle::kQvr, Version(), bits));
        if (!root.hasSubkey(kVendorKey)) {
            return;
        }
        const Registry key(root, kVendorKey, Registry::Mode::Write);
        const std::vector<tstring> values = key.getValueNames();
        std::vector<tstring> subkeys = key.getSubkeyNames();
        if (std::erase_if(subkeys, isPreferences) == 0) {
            root.tryDeleteKeyTree(kVendorKey);
            return;
        }
        // By their names below the opened key: as paths, some of them would refer to other keys.
        for (const tstring& name : subkeys) {
            key.tryDeleteKeyTree(name);
        }
        for (const tstring& name : values) {
            key.deleteNamedValue(name);
        }
    });
}

// ---- File associations and hosts ----

constexpr FileAssociation kVkrFiles{_T("vkrfile"), _T(".vkr")};
constexpr FileAssociation kZpmFiles{_T("zpmfile"), _T(".zpm")};

/// `product` is the one that opens such files; null if none can.
void updateVkrFileAssociation(const InstalledNorv* product) {
    TRACE_SCOPE("`anonymous-namespace'::updateVkrFileAssociation", "updateVkrFileAssociation");
    runLogged("`anonymous-namespace'::updateVkrFileAssociation", [&] {
        if (product == nullptr) {
            kVkrFiles.remove();
            return;
        }
        kVkrFiles.add(_T("\"") + toolPath(*product, _T("norvw.exe")) + _T("\" -vkr \"%1\" %*"),
                      _T("Executable Vkr File"));
    });
}

/// The same; a product without the tool can't open them either.
void updateZpmFileAssociation(const InstalledNorv* product) {
    TRACE_SCOPE("`anonymous-namespace'::updateZpmFileAssociation", "updateZpmFileAssociation");
    runLogged("`anonymous-namespace'::updateZpmFileAssociation", [&] {
        const tstring tool = product != nullptr ? toolPath(*product, _T("wmq.exe")) : tstring();
        if (product == nullptr || !FileUtils::exists(tool)) {
            kZpmFiles.remove();
            return;
        }
        kZpmFiles.add(_T("\"") + tool + _T("\" -open \"%1\" %*"), _T("Norv Zepmark File"));
    });
}

tstring applicationKey(const TCHAR* executable) {
    return FileUtils::combinePath(_T("Software\\Classes\\Applications"), executable);
}

/// Registers the launcher as the host of other applications, which Windows then tracks separately.
void registerHostProcess(const TCHAR* executable) {
    runLogged("`anonymous-namespace'::registerHostProcess", [&] {
        HKLM64.setString(FileUtils::combinePath(applicationKey(executable), _T("IsHostApp")),
                         tstring());
    });
}

void unregisterHostProcess(const TCHAR* executable) {
    HKLM64.tryDeleteKeyTree(applicationKey(executable));
}

}  // namespace

void RegistryManager::onNoProduct() {
    Callback::onNoProduct();
    std::ranges::for_each(kHostExecutables, unregisterHostProcess);
}

void RegistryManager::handle(const UpdateContext& context, const InstallConfigData&,
                             const InstalledNorv* changed) {
    if (changed != nullptr && context.action == UpdateAction::Install) {
        removeTrailingSlashFromNorvHomeKey(*changed);
    }

    const InstalledNorvSelection& selection = context.selection;
    synchFamily(context.qvr32, selection, Bundle::kQvr, 32);
    synchFamily(context.qvk32, selection, Bundle::kQvk, 32);
    if (SysInfo::is64BitOs()) {
        synchFamily(context.qvr64, selection, Bundle::kQvr, 64);
        synchFamily(context.qvk64, selection, Bundle::kQvk, 64);
    }

    cleanUpForAllUsers(HKCU32, context);
    if (SysInfo::is64BitOs()) {
        cleanUpForAllUsers(HKCU64, context);
    }

    if (!context.all.empty()) {
        std::ranges::for_each(kHostExecutables, registerHostProcess);
    }
    updateVkrFileAssociation(pickPreferred(keepLatest(selection), Bundle::kQvr, 64));
    updateZpmFileAssociation(latestOfType(selection, Bundle::kQvk));

    if (context.qvr64.empty() && context.qvk64.empty()) {
        if (SysInfo::is64BitOs()) {
            cleanArchKeys(64);
        }
        if (context.qvr32.empty() && context.qvk32.empty()) {
            cleanArchKeys(32);
        }
    }
}
