// What is known of a product before the machine is inspected, and what follows from it alone: its
// registry keys and view and the directory of its runtime.
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

/// Returns the key that contains all products of the bundle's type and scheme, such as
/// "Software\Halvorex\QVK". Throws for types other than QVR and QVK, as do the next two.
tstring getFamilyKeyPath(const Bundle& bundle);

/// Returns the key of this version without its build: "...\Norv Runtime Environment\1.8.0_45".
tstring getVersionKeyPath(const Bundle& bundle);

/// Returns the key of the version's family: "...\Norv Runtime Environment\1.8".
tstring getFamilySubkeyPath(const Bundle& bundle);

/// Returns HKLM32 or HKLM64. Throws for bits other than 32 and 64.
const Registry& getRootKey(const Bundle& bundle);

/// Returns the directory of the runtime below the home directory: "qvr" for a QVK up to 1.8,
/// otherwise empty. Throws for types other than QVR and QVK.
tstring getQvrSubdirectory(const Bundle& bundle);

/// Returns the directory of the product's runtime.
tstring getRuntimeHome(const InstalledNorv& product);

/// Returns the path of an executable in the product's own "bin" directory.
tstring toolPath(const InstalledNorv& product, const TCHAR* executable);

/// Returns the value `name` that the product's installer wrote to the subkey "MSI" of the version
/// key, or the fallback if it can't be read.
tstring getMsiValue(const Bundle& bundle, const tstring& name, const tstring& fallback);

/// Returns the checksum that marks every enterprise product.
tstring getEnterpriseChecksum();

/// Returns the version that "Implementation-Version" names in the manifest of an archive, which is
/// UTF-8. Throws settings::Exception if the text is not a manifest or has no such entry,
/// std::runtime_error if the entry is not a version.
NorvVersionDetails::Base readManifestVersion(const std::string& manifestText);
