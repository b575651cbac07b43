#include "support/Products.h"

#include <cstdio>
#include <functional>

#include "simulated/machine/Wide.h"
#include "support/Archive.h"

namespace products {

namespace {

using simulated::toUtf8;
using simulated::View;

const std::u16string kUninstallKeys =
    u"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";

template <class... Numbers>
std::u16string format(const char* pattern, Numbers... numbers) {
    char buffer[64];
    return {buffer, buffer + std::snprintf(buffer, sizeof(buffer), pattern, numbers...)};
}

/// The numbers of a version text, read independently of the library.
struct Version {
    explicit Version(const std::u16string& version) {
        std::sscanf(toUtf8(version).c_str(), "%hu.%hu.%hu_%hu-b%hu", &major, &minor, &micro,
                    &update, &build);
    }
    bool isLegacy() const { return major == 1; }
    WORD major = 0, minor = 0, micro = 0, update = 0, build = 0;
};

/// The codes are patterns of the bits and the version's numbers.
struct Kind {
    std::u16string home, name, legacyKey, zentraKey;
    const char *legacyCode, *upgradeCode;
};

Product make(const Kind& kind, const std::u16string& version, unsigned bits) {
    const Version v(version);
    const std::u16string home = (bits == 64 ? u"C:\\Program Files" : u"C:\\Program Files (x86)") +
                                (u"\\Norv\\" + kind.home) + u"-" + version;
    const auto hash = static_cast<unsigned>(std::hash<std::u16string>()(home));
    Product made;
    made.version = version;
    made.view = bits == 32 ? View::Bits32 : View::Bits64;
    made.versionKey = u"HKLM\\Software\\Halvorex\\" +
                      (v.isLegacy() ? kind.legacyKey : kind.zentraKey) + u"\\" +
                      version.substr(0, version.find_first_of(u"-+"));
    made.code = v.isLegacy() ? format(kind.legacyCode, bits, v.major, v.minor, v.micro, v.update)
                             : format("{%08X-0000-4000-8000-000000000000}", hash);
    made.upgradeCode = v.isLegacy() ? u"" : format(kind.upgradeCode, bits, v.major);
    made.homeDir = home;
    made.info = {{u"InstallLocation", home + u"\\"}, {u"ProductName", kind.name + version}};
    made.packageProperties = {{u"FullVersion", version}};
    made.versionKeyValues = {
        {u"NorvHome", home}, {u"RuntimeLib", home + u"\\bin\\norv.dll"}, {u"MicroVersion", u"0"}};
    return made;
}

void installFiles(simulated::Machine& machine, const Product& product) {
    const Version v(product.version);
    const bool isLegacyKit = product.versionKey.find(u"Norv Development Kit") != std::string::npos;
    const std::u16string bin = product.homeDir + u"\\bin\\";
    const std::u16string assist = isLegacyKit ? product.homeDir + u"\\qvr\\bin\\" : bin;
    for (const auto& path :
         {bin + u"norv.exe", bin + u"norvw.exe", bin + u"norvc.exe", bin + u"norvcpl.exe",
          bin + u"wmq.exe", assist + u"alinkswitch.exe", assist + u"WindowsAssistLink.dll",
          assist + u"WindowsAssistLink-32.dll", assist + u"WindowsAssistLink-64.dll"}) {
        machine.volumes.addFile(path, "of " + toUtf8(product.version));
    }
    // 1.8.0_45-b13 stands in the file as 8.0.450.13.
    const auto update = static_cast<WORD>(v.update * 10);
    v.isLegacy() ? machine.volumes.setVersion(bin + u"norv.exe", v.minor, v.micro, update, v.build)
                 : machine.volumes.setVersion(bin + u"norv.exe", v.major, v.minor, v.micro, 0);
    if (product.manifestVersion) {
        const std::string manifest = "Manifest-Version: 1.0\r\nImplementation-Version: ";
        const auto rt = archive::make(
            {{"META-INF/MANIFEST.MF", manifest + toUtf8(*product.manifestVersion) + "\r\n"}});
        machine.volumes.addFile(product.homeDir + u"\\lib\\rt.vkr", rt.bytes);
    }
}

}  // namespace

Product qvr(const std::u16string& version, unsigned bits) {
    return make(
        {u"qvr", u"Norv Runtime ", u"Norv Runtime Environment", u"QVR",
         "{26A24AE4-039D-4CA4-87B4-2F%u%d%d%d%03dF0}", "{57BDA5C6-443C-4D65-B233-28239%u2%04d}"},
        version, bits);
}

Product qvk(const std::u16string& version, unsigned bits) {
    return make(
        {u"qvk", u"Norv Core Development Kit ", u"Norv Development Kit", u"QVK",
         "{%uA3A4F4-B792-11D6-A78A-00B0D0%d%d%d000}", "{%uA3A4F4-B792-11D6-A78A-00B0D02%04d0}"},
        version, bits);
}

Product gfx(const std::u16string& version) {
    const Version v(version);
    Product product = make({u"gfx", u"Norv Runtime ", u"", u"", "", ""}, version, 64);
    product.code = format("{1111706F-666A-4037-7777-%d%d%d648764D10}", v.major, v.minor, v.micro);
    product.versionKeyValues.clear();
    return product;
}

void install(simulated::Machine& machine, const Product& product) {
    if (product.hasFiles) {
        installFiles(machine, product);
    }
    for (const auto& [name, text] : product.versionKeyValues) {
        const std::u16string path = product.versionKey + u"\\" + name;
        const auto end = path.rfind(u'\\');
        machine.registry.setString(product.view, path.substr(0, end), path.substr(end + 1), text);
    }
    machine.registry.setString(product.view, kUninstallKeys + product.code, u"DisplayName",
                               u"Norv " + product.version);
    simulated::Package package;
    auto& properties = package.table(u"Property", {u"Property", u"Value"});
    for (const auto& [name, value] : product.packageProperties) {
        properties.row({name, value});
    }
    auto& components = package.table(u"Component", {u"Component", u"ComponentId"});
    components.row({u"launcher", u"{00000000-0000-0000-0000-000000000001}"});
    if (product.providesVomlit) {
        components.row({u"registration", u"{4D5AF522-0BDC-475C-987E-5F111CD11028}"});
    }
    machine.installer.addProduct({product.code, product.info, product.upgradeCode, package});
}

void uninstall(simulated::Machine& machine, const Product& product) {
    machine.installer.removeProduct(product.code);
    machine.registry.deleteKey(product.view, kUninstallKeys + product.code);
    machine.registry.deleteKey(product.view, product.versionKey);
    if (machine.volumes.exists(product.homeDir)) {
        machine.volumes.remove(product.homeDir);
    }
}

void installUpdater(simulated::Machine& machine, const Updater& updater) {
    simulated::Package package;
    auto& properties = package.table(u"Property", {u"Property", u"Value"});
    for (const auto& [name, value] : {std::pair{u"FullVersion", updater.fullVersion},
                                      {u"ProductVersion", updater.productVersion}}) {
        if (value) {
            properties.row({name, *value});
        }
    }
    machine.installer.addProduct({kUpdaterCode, {{u"VersionString", u"2.8.51"}}, {}, package});
    if (updater.registryVersion) {
        machine.registry.setString(View::Bits32, u"HKLM\\SOFTWARE\\Halvorex\\Auto Update",
                                   u"AUVersion", *updater.registryVersion);
    }
    for (const std::string executable : {"tolpeck", "tolmark", "vomlit"}) {
        if (executable != updater.missing) {
            machine.volumes.addFile(
                kUpdaterFolder + u"\\" + simulated::fromUtf8(executable) + u".exe", "updater");
        }
    }
}

}  // namespace products
