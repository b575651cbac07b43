// Products of the Norv family, as their packages leave them on a machine. A product's kind, bits
// and version determine everything else about it: codes, home directory, version key and files.
//
//     family::Product kit = family::qvk("21.0.12.1+1");  // 64-bit, on a 64-bit Windows
//     kit.packageProperties[u"FullVersion"] = u"";       // changes what is to be unusual
//     kit.files.push_back(u"bin\\wmq.exe");
//     family::install(machine, kit);
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "simulated/machine/Machine.h"

namespace family {

enum class Kind { Qvr, Qvk, Graphics };

using Texts = std::map<std::u16string, std::u16string>;

struct Product {
    unsigned bits;
    std::u16string version;      ///< the full version: "1.8.0_45-b13", "11.0.2+9", "2.2.0"
    std::u16string code;         ///< product code, in registry form
    std::u16string upgradeCode;  ///< only in the Zentra scheme (9 and later); empty otherwise
    std::u16string
        homeDir;  ///< "C:\\Program Files\\Norv\\QVR-11.0.2", without a separator at the end
    std::u16string versionKey;  ///< "HKLM\\Software\\Halvorex\\QVR\\11.0.2", in the view of `bits`
    Texts versionKeyValues;     ///< strings; a name may have a subkey: u"MSI\\MODE"
    Texts info;                 ///< what MsiGetProductInfoW returns
    Texts packageProperties;    ///< the table "Property" of the cached package
    Texts packageComponents;    ///< the table "Component": name to id
    std::vector<std::u16string> files;  ///< paths below the home directory
    /// Of a kit that provides command shims: what its package puts into the staging directory,
    /// which a 64-bit kit of 11.0.8 and later in 11, and of 15 and later, does. `install` leaves
    /// them out.
    std::vector<std::u16string> stagedShims;
    std::array<std::uint16_t, 4> fileVersion;  ///< of the launchers
    /// "Implementation-Version" in the manifest of "lib\\rt.vkr"; without it there is no such file.
    std::optional<std::u16string> manifestVersion;

    /// Moves the product to another home directory, with everything that names it.
    void setHome(const std::u16string& directory);
    simulated::View view() const;
};

/// Returns the usual product of a version, or nothing if `version` is none of `kind`.
std::optional<Product> productOf(Kind kind, const std::string& version, unsigned bits,
                                 unsigned bitsOfWindows);

/// The same for versions that are right; throws std::bad_optional_access otherwise.
Product qvr(const std::string& version, unsigned bits = 64, unsigned bitsOfWindows = 64);
Product qvk(const std::string& version, unsigned bits = 64, unsigned bitsOfWindows = 64);
Product graphics(const std::string& version, unsigned bits = 64);

/// Puts the files, the version key, the Uninstall key and the installer's data on the machine. The
/// content of a file is "of " and the version.
void install(simulated::Machine& machine, const Product& product);

/// Removes them again, as the product's own installer does after the custom actions.
void uninstall(simulated::Machine& machine, const Product& product);

}  // namespace family
