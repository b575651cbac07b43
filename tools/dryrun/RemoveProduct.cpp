// The removal of a product, as its own package does it.
#include "dryrun/Description.h"
#include "simulated/machine/Wide.h"

using simulated::fromUtf8;
using simulated::sameText;
using simulated::View;

namespace {

std::u16string withoutSeparator(std::u16string path) {
    while (path.ends_with(u'\\')) {
        path.pop_back();
    }
    return path;
}

/// Deletes the version keys of a product; the legacy families' own copies of them stay.
void deleteVersionKeys(simulated::RegistryStore& registry, const std::u16string& vendor,
                       const std::u16string& home) {
    for (const std::u16string& family : registry.subkeys(View::Bits64, vendor)) {
        for (const std::u16string& version :
             registry.subkeys(View::Bits64, vendor + u'\\' + family)) {
            const std::u16string key = vendor + u'\\' + family + u'\\' + version;
            const auto named = registry.getString(View::Bits64, key, u"NorvHome");
            const bool isCopy = version.starts_with(u"1.") && version.rfind(u'.') == 1;
            if (!isCopy && named && sameText(withoutSeparator(*named), home)) {
                registry.deleteKey(View::Bits64, key);
            }
        }
    }
}

}  // namespace

bool removeProduct(DescribedMachine& described, const std::string& code) {
    simulated::Machine& machine = described.machine;
    simulated::Product* const product = machine.installer.product(fromUtf8(code));
    if (product == nullptr) {
        return false;
    }
    const std::u16string home = withoutSeparator(product->properties[u"InstallLocation"]);
    for (const std::u16string software : {u"HKLM\\Software\\", u"HKLM\\Software\\Wow6432Node\\"}) {
        deleteVersionKeys(machine.registry, software + u"Halvorex", home);
        machine.registry.deleteKey(
            View::Bits64,
            software + u"Microsoft\\Windows\\CurrentVersion\\Uninstall\\" + product->code);
    }
    if (home.size() > 3 && machine.volumes.exists(home)) {
        machine.volumes.remove(home);
    }
    return machine.installer.removeProduct(fromUtf8(code));
}
