#include "windows/common/Bundle.h"

#include <stdexcept>

#include "common/share/PmtError.h"
#include "common/share/Text.h"
#include "common/share/tstrings.h"
#include "windows/common/Crypto.h"
#include "windows/common/InstalledNorv.h"
#include "windows/common/Paths.h"
#include "windows/common/Registry.h"
#include "windows/common/SettingsConfig.h"

namespace {

using NorvVersionDetails::family;
using NorvVersionDetails::toString;
using NorvVersionDetails::withoutBuild;

}  // namespace

Bundle::Bundle(std::int32_t productType, const NorvVersionDetails::Base& productVersion,
               std::uint32_t architecture, const tstring& checksum)
    : type(productType), bits(architecture), version(productVersion), baseimageChecksum(checksum) {}

void Bundle::throwUnexpectedType(const Bundle& bundle) {
    raise<std::runtime_error>("Bundle::throwUnexpectedType", Text() << _T("Unexpected type")
                                                                    << bundle.type << _T(" of ")
                                                                    << bundle.version.sourceText());
}

tstring getFamilyKeyPath(const Bundle& bundle) {
    const bool isZentra = bundle.version.tag() == NorvVersionDetails::kZentraTag;
    switch (bundle.type) {
        case Bundle::kQvr:
            return isZentra ? _T("Software\\Halvorex\\QVR")
                            : _T("Software\\Halvorex\\Norv Runtime Environment");
        case Bundle::kQvk:
            return isZentra ? _T("Software\\Halvorex\\QVK")
                            : _T("Software\\Halvorex\\Norv Development Kit");
        default:
            Bundle::throwUnexpectedType(bundle);
    }
}

tstring getVersionKeyPath(const Bundle& bundle) {
    // An unexpected type is reported before a version without a family.
    const tstring familyKey = getFamilyKeyPath(bundle);
    return FileUtils::combinePath(familyKey, toString(withoutBuild(bundle.version)));
}

tstring getFamilySubkeyPath(const Bundle& bundle) {
    const tstring familyKey = getFamilyKeyPath(bundle);
    return FileUtils::combinePath(familyKey, toString(family(bundle.version)));
}

const Registry& getRootKey(const Bundle& bundle) {
    switch (bundle.bits) {
        case 32:
            return HKLM32;
        case 64:
            return HKLM64;
        default:
            raise<std::runtime_error>("`anonymous-namespace'::getRootKey",
                                      Text() << _T("Unexpected bundle arch: ") << bundle.bits);
    }
}

tstring getQvrSubdirectory(const Bundle& bundle) {
    if (bundle.type == Bundle::kQvr) {
        return tstring();
    }
    if (bundle.type != Bundle::kQvk) {
        Bundle::throwUnexpectedType(bundle);
    }
    const NorvVersionDetails::Base lastWithSubdirectory(_T("1.8.0"));
    const bool hasSubdirectory = family(bundle.version) <= family(lastWithSubdirectory);
    return hasSubdirectory ? _T("qvr") : _T("");
}

tstring getRuntimeHome(const InstalledNorv& product) {
    return FileUtils::combinePath(product.homeDir, getQvrSubdirectory(product));
}

tstring toolPath(const InstalledNorv& product, const TCHAR* executable) {
    return FileUtils::combinePath(FileUtils::combinePath(product.homeDir, _T("bin")), executable);
}

tstring getMsiValue(const Bundle& bundle, const tstring& name, const tstring& fallback) {
    const tstring valuePath =
        FileUtils::combinePath(FileUtils::combinePath(getVersionKeyPath(bundle), _T("MSI")), name);
    return getRootKey(bundle).getString(valuePath, fallback);
}

tstring getEnterpriseChecksum() {
    return verifyChecksumString(
        _T("8bbecd4ed503b09a088275b45e323bdb1fab34031e8c5c3b2b26e5e6e96c7636"), "sha256");
}

NorvVersionDetails::Base readManifestVersion(const std::string& manifestText) {
    SettingsConfig manifest;
    throwIfFailed(manifest.loadText(manifestText.c_str()));
    const char* version = nullptr;
    throwIfFailed(manifest.api().getString(manifest.context(), "Implementation-Version", &version));
    return NorvVersionDetails::Base(tstrings::fromUtf8(version));
}
