#include "support/Updater.h"

#include "simulated/machine/Wide.h"

namespace updater {

void install(simulated::Machine& machine, const Updater& installed) {
    simulated::Package package;
    auto& properties = package.table(u"Property", {u"Property", u"Value"});
    if (installed.fullVersion) {
        properties.row({u"FullVersion", *installed.fullVersion});
    }
    if (installed.productVersion) {
        properties.row({u"ProductVersion", *installed.productVersion});
    }
    machine.installer.addProduct(
        {.code = kProductCode, .properties = {{u"VersionString", u"2.8.51"}}, .package = package});
    if (installed.registryVersion) {
        machine.registry.setString(simulated::View::Bits32,
                                   u"HKLM\\SOFTWARE\\Halvorex\\Auto Update", u"AUVersion",
                                   *installed.registryVersion);
    }
    for (const std::string executable : {"tolpeck", "tolmark", "vomlit"}) {
        if (executable != installed.missingExecutable) {
            machine.volumes.addFile(kDirectory + u"\\" + simulated::fromUtf8(executable) + u".exe",
                                    "updater");
        }
    }
}

}  // namespace updater
