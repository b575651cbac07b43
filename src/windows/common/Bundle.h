// What is known of a product before the machine is looked at, and what follows from it alone: its
// registry keys, the view of the registry that they are in, the place of its runtime.
#pragma once

#include <cstdint>
#include <string>

#include "common/share/NorvVersion.h"
#include "common/share/tstring.h"

class Registry;
struct InstalledNorv;

struct Bundle {
    static constexpr std::int32_t kQvr = 0;
    static constexpr std::int32_t kQvk = 1;
    static constexpr std::int32_t kNorvGfx = 2;

    Bundle() = default;
    Bundle(std::int32_t productType, const NorvVersionDetails::Base& productVersion,
           std::uint32_t architecture, const tstring& checksum = tstring());

    /// Throws std::runtime_error.
    [[noreturn]] static void throwUnexpectedType(const Bundle& bundle);

    std::int32_t type = kQvr;  ///< kQvr, kQvk or kNorvGfx
    std::uint32_t bits = 0;    ///< 32 or 64
    NorvVersionDetails::Base version;
    tstring baseimageChecksum;  ///< SHA-256 in lower-case hexadecimal digits, or empty
};

/// The key below a root key that holds all products of the bundle's type and scheme, such as
/// "Software\Halvorex\QVK". Throws for a type other than QVR and QVK, as do the next two.
tstring getFamilyKeyPath(const Bundle& bundle);

/// The key of exactly this version, its build left out: "...\Norv Runtime Environment\1.8.0_45".
tstring getVersionKeyPath(const Bundle& bundle);

/// The key of the version's family: "...\Norv Runtime Environment\1.8".
tstring getFamilySubkeyPath(const Bundle& bundle);

/// HKLM32 or HKLM64. Throws for bits other than 32 and 64.
const Registry& getRootKey(const Bundle& bundle);

/// The directory of the runtime below the home directory: "qvr" for a QVK up to 1.8, else empty.
/// Throws for a type other than QVR and QVK.
tstring getQvrSubdirectory(const Bundle& bundle);

/// The directory of the product's runtime.
tstring getRuntimeHome(const InstalledNorv& product);

/// An executable in the product's own "bin" directory.
tstring toolPath(const InstalledNorv& product, const TCHAR* executable);

/// What the product's installer left under `name` in the subkey "MSI" of the version key; the
/// fallback if it can't be read.
tstring getMsiValue(const Bundle& bundle, const tstring& name, const tstring& fallback);

/// The checksum that stands for every enterprise product.
tstring getEnterpriseChecksum();

/// The version that the manifest of an archive names by "Implementation-Version". The text is
/// UTF-8. Throws settings::Exception if it is no manifest or names none, std::runtime_error if what
/// it names is no version.
NorvVersionDetails::Base readManifestVersion(const std::string& manifestText);
