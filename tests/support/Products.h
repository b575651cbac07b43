// Products of the family as their installers leave them on a simulated machine.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "simulated/machine/Machine.h"

namespace products {

using Texts = std::map<std::u16string, std::u16string>;

/// What an installer puts on the machine. A test changes what it wants to be otherwise, before
/// `install`.
struct Product {
    std::u16string version;      ///< the full version, "1.8.0_45-b13" or "11.0.2+9"
    simulated::View view;        ///< of the registry, by the product's bits
    std::u16string versionKey;   ///< "HKLM\Software\Halvorex\QVR\11.0.2"
    std::u16string code;         ///< product code; spells a legacy version, is derived otherwise
    std::u16string upgradeCode;  ///< of the Zentra scheme alone, else empty
    std::u16string homeDir;      ///< in the program directory of its bits, no separator at the end
    Texts info;                  ///< what MsiGetProductInfoW tells
    Texts packageProperties;     ///< the table "Property" of the cached package
    Texts versionKeyValues;      ///< a name may carry a subkey: u"MSI\\MODE"
    /// The version in the manifest of "lib\rt.vkr"; no archive without it.
    std::optional<std::u16string> manifestVersion;
    /// The package has the component of the updater's registration tool.
    bool providesVomlit = false;
    bool hasFiles = true;
};

/// Products with everything that belongs to them. A legacy version has one digit for each of its
/// first three numbers, and no number begins with a zero but the build.
Product qvr(const std::u16string& version, unsigned bits = 64);
Product qvk(const std::u16string& version, unsigned bits = 64);
Product gfx(const std::u16string& version);

/// Puts the files, the version key, the Uninstall key and the installer's own data on the machine.
void install(simulated::Machine& machine, const Product& product);

/// Takes them away again, as the product's own installer does after the custom actions.
void uninstall(simulated::Machine& machine, const Product& product);

/// The auto-updater: its package and, as far as wanted, its executables.
struct Updater {
    std::optional<std::u16string> fullVersion = u"2.8.51.9";  ///< none: no such property
    std::optional<std::u16string> productVersion = u"2.8.51.9";
    std::optional<std::u16string> registryVersion = {};
    std::string missing = {};  ///< one of the executables, "vomlit"
};

inline const std::u16string kUpdaterCode = u"{4A03706F-666A-4037-7777-5F2748764D10}";

/// The updater's folder on a 64-bit system.
inline const std::u16string kUpdaterFolder =
    u"C:\\Program Files (x86)\\Common Files\\Norv\\Norv Update";

void installUpdater(simulated::Machine& machine, const Updater& updater = {});

}  // namespace products
